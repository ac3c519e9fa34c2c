#pragma once

#include <QtCore/QDir>
#include <QtCore/QRegularExpression>
#include <QtCore/QString>

#include <optional>

class QJsonValue;

/// What learning card numbers and exporting card documents share.

/// The sender of vk-adm documents, as chunks name it under "source".
const QString &vkAdmSource();

/// The XML text under "data" of a card chunk that `source` sent; empty for every other chunk.
QString cardDocument(const QJsonValue &chunk, const QString &source);

/// A fresh compilation of the pattern that finds the insured person number in a vk-adm document, as
/// group 1.
QRegularExpression insuredPersonNumberPattern();

/// Where card documents are written, read from the system-wide INI files of the application;
/// nothing when the setting is absent. A value that is present but empty means the current
/// directory, and so does one with a comma that is not quoted, which the INI format reads as a
/// list.
std::optional<QDir> configuredXmlDirectory();
