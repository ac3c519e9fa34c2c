#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QString>

namespace host {

/// The first line of the file, without its line end. Empty, with a reason in `error`, when there is
/// no such file or its first line could never arrive as a bearer token.
QByteArray readTokenFile(const QString &file, QString *error);

} // namespace host
