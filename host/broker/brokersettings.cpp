#include "broker/brokersettings.h"

#include <QtCore/QUrl>

#include <algorithm>

namespace host {
namespace {

constexpr int plainPort = 5672;
constexpr int encryptedPort = 5671;

// Where Debian and its kin keep the authorities that the system trusts; OpenSSL's own variable
// names another file.
QByteArray systemCertificates()
{
    const QByteArray named = qgetenv("SSL_CERT_FILE");
    return named.isEmpty() ? QByteArrayLiteral("/etc/ssl/certs/ca-certificates.crt") : named;
}

QByteArray decoded(const QString &text)
{
    return text.toUtf8();
}

} // namespace

QString BrokerAddress::toString() const
{
    QUrl url;
    url.setScheme(encrypted ? QStringLiteral("amqps") : QStringLiteral("amqp"));
    url.setHost(QString::fromUtf8(host));
    url.setPort(port);
    url.setUserName(QString::fromUtf8(user));
    const QString text = url.toString(QUrl::FullyEncoded);
    return vhost == "/" ? text : text + QLatin1Char('/') + QString::fromUtf8(vhost);
}

BrokerAddress brokerAddress(const QUrl &url, const QString &certificateFile)
{
    BrokerAddress address;
    address.encrypted = url.scheme() == QLatin1String("amqps");
    address.host = url.host(QUrl::FullyEncoded).toUtf8();
    if (address.host.startsWith('[')) // an IPv6 address
        address.host = address.host.mid(1, address.host.size() - 2);
    address.port = url.port(address.encrypted ? encryptedPort : plainPort);
    address.user = url.userName().isEmpty() ? QByteArrayLiteral("guest")
                                            : decoded(url.userName(QUrl::FullyDecoded));
    address.password = url.userInfo().isEmpty() ? QByteArrayLiteral("guest")
                                                : decoded(url.password(QUrl::FullyDecoded));
    const QString path = url.path(QUrl::FullyDecoded);
    address.vhost = path.size() > 1 ? decoded(path.mid(1)) : QByteArrayLiteral("/");
    if (address.encrypted)
        address.certificates =
            certificateFile.isEmpty() ? systemCertificates() : certificateFile.toLocal8Bit();
    return address;
}

std::chrono::milliseconds reconnectDelay(int failures, double random)
{
    using std::chrono::milliseconds;
    constexpr milliseconds first(250);
    constexpr milliseconds longest(30000);
    constexpr int mostDoublings = 7; // beyond the longest
    const milliseconds full =
        std::min(longest, first * (1 << std::clamp(failures - 1, 0, mostDoublings)));
    return full - milliseconds(int(double(full.count()) * random / 4));
}

QStringList consumedExchanges()
{
    return {QStringLiteral("kavo-context-add-file"),
            QStringLiteral("kavo-context-rpc-create"),
            QStringLiteral("kavo-context-rpc-delete"),
            QStringLiteral("kavo-context-rpc-get-files"),
            QStringLiteral("kavo-context-rpc-set"),
            QStringLiteral("kavo-context-rpc-update"),
            QStringLiteral("kavo-context-add-matching-items"),
            QStringLiteral("kavo-context-add-messages"),
            QStringLiteral("kavo-context-add-action-requests"),
            QStringLiteral("kavo-context-attachments-remove")};
}

} // namespace host
