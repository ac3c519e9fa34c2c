#include "broker/testauthority.h"

#include <QtCore/QFile>
#include <QtCore/QProcess>

namespace {

// All that openssl needs to know, so that the machine's own settings do not matter.
QByteArray settings(const QString &host)
{
    return "[req]\ndistinguished_name = name\n[name]\n"
           "[authority]\nbasicConstraints = critical, CA:TRUE\n"
           "[server]\nbasicConstraints = CA:FALSE\nextendedKeyUsage = serverAuth\n"
           "subjectAltName = DNS:" +
           host.toUtf8() + '\n';
}

} // namespace

TestAuthority::TestAuthority()
{
    make(QStringLiteral("authority"), QStringLiteral("Authority of a test"),
         {QStringLiteral("-extensions"), QStringLiteral("authority")});
}

TestCertificate TestAuthority::issue(const QString &host) const
{
    make(host, host,
         {QStringLiteral("-extensions"), QStringLiteral("server"), QStringLiteral("-CA"),
          certificate(), QStringLiteral("-CAkey"), path(QStringLiteral("authority.key"))});
    return {path(host + QStringLiteral(".pem")), path(host + QStringLiteral(".key"))};
}

void TestAuthority::make(const QString &name, const QString &subject,
                         const QStringList &options) const
{
    QFile file(path(QStringLiteral("openssl.cnf")));
    if (!file.open(QIODevice::WriteOnly) || file.write(settings(name)) < 0)
        qFatal("cannot write openssl.cnf");
    file.close();
    QProcess openssl;
    openssl.setProcessChannelMode(QProcess::MergedChannels);
    openssl.start(QStringLiteral("openssl"),
                  QStringList{QStringLiteral("req"), QStringLiteral("-x509"),
                              QStringLiteral("-newkey"), QStringLiteral("rsa:2048"),
                              QStringLiteral("-nodes"), QStringLiteral("-days"),
                              QStringLiteral("1"), QStringLiteral("-config"), file.fileName(),
                              QStringLiteral("-subj"), QStringLiteral("/CN=") + subject,
                              QStringLiteral("-keyout"), path(name + QStringLiteral(".key")),
                              QStringLiteral("-out"), path(name + QStringLiteral(".pem"))} +
                      options);
    if (!openssl.waitForFinished(-1) || openssl.exitCode() != 0)
        qFatal("openssl: %s", openssl.readAll().constData());
}
