#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QTemporaryDir>

/// A certificate with its key, as files.
struct TestCertificate
{
    QString certificate;
    QString key;
};

/// A certificate authority of its own, made by openssl in a temporary folder, whose certificates
/// hold for a day. Lives in a test.
class TestAuthority
{
public:
    TestAuthority();

    QString certificate() const { return path(QStringLiteral("authority.pem")); }

    /// A server's certificate for that name.
    TestCertificate issue(const QString &host) const;

private:
    void make(const QString &name, const QString &subject, const QStringList &options) const;
    QString path(const QString &name) const { return m_directory.filePath(name); }

    QTemporaryDir m_directory;
};
