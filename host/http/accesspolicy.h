#pragma once

#include "http/refusal.h"
#include "http/requesthead.h"

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QStringList>

namespace host {

/// Who may call: which names the server answers to, which web origins may read its answers, and the
/// bearer token. A value; its functions look at a request head and nothing else.
struct AccessPolicy
{
    QStringList hosts;   ///< names accepted in Host, beside the loopback names
    QStringList origins; ///< web origins ("https://app.example") whose pages may call
    QByteArray token;    ///< empty: none asked for

    /// Host, origin and token, in this order. A preflight is let through without the token, since a
    /// browser cannot send one with it, and so is GET /health, which tells nothing of a patient.
    Refusal check(const RequestHead &head) const;

    /// Whether the request is a browser's question if it may send another one.
    static bool isPreflight(const RequestHead &head);

    /// The CORS header lines, each with its line end, that a page of the request's origin needs to
    /// see the answer. Empty where no origin was named or it is the host's own.
    QByteArray corsHeaders(const RequestHead &head) const;

    /// What answers a preflight, beside `corsHeaders`.
    static QByteArray preflightHeaders(const RequestHead &head);

private:
    bool acceptsHost(std::string_view authority) const;
    bool acceptsToken(const RequestHead &head) const;
    bool isAllowedOrigin(const QByteArray &origin) const;
};

} // namespace host
