#include "app/addresses.h"

#include "http/socket.h"

#include <boost/asio/ip/address.hpp>

namespace host {
namespace {

using boost::asio::ip::address;

std::optional<address> parseAddress(const QString &text)
{
    if (text.contains(QLatin1Char('%')))
        return std::nullopt; // an address with a zone names an interface, which none of ours has
    boost::system::error_code error;
    const std::string given = text.toStdString();
    const address parsed = boost::asio::ip::make_address(given, error);
    // Windows also reads shortened addresses and addresses with a port behind them.
    const bool exact =
        parsed.is_v4() ? parsed.to_string() == given : !text.contains(QLatin1Char('['));
    return error || !exact ? std::nullopt : std::make_optional(parsed);
}

std::optional<quint16> parsePort(const QString &text)
{
    constexpr int mostDigits = 5;
    for (const QChar c : text) {
        if (c < QLatin1Char('0') || c > QLatin1Char('9'))
            return std::nullopt;
    }
    bool fits = false;
    const quint16 port = text.left(mostDigits + 1).toUShort(&fits);
    return fits ? std::make_optional(port) : std::nullopt;
}

} // namespace

std::optional<Endpoint> parseEndpoint(const QString &text)
{
    const int colon = text.lastIndexOf(QLatin1Char(':'));
    if (colon < 0)
        return std::nullopt;
    QString name = text.left(colon);
    const bool bracketed = name.startsWith(QLatin1Char('[')) && name.endsWith(QLatin1Char(']'));
    if (bracketed)
        name = name.mid(1, name.size() - 2);
    const auto parsed = parseAddress(name);
    const auto port = parsePort(text.mid(colon + 1));
    if (!parsed || !port || parsed->is_v6() != bracketed)
        return std::nullopt;
    return Endpoint{name, *port};
}

bool isLoopback(const QString &text)
{
    const auto parsed = parseAddress(text);
    if (!parsed)
        return false;
    if (parsed->is_v6() && parsed->to_v6().is_v4_mapped()) {
        using boost::asio::ip::make_address_v4;
        return make_address_v4(boost::asio::ip::v4_mapped, parsed->to_v6()).is_loopback();
    }
    return parsed->is_loopback();
}

bool hasIpv6Loopback()
{
    QString error;
    return Socket::listen(QStringLiteral("::1"), 0, &error).isOpen();
}

} // namespace host
