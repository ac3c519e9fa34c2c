#pragma once

#include "support/eventstream.h"
#include "support/hostprocess.h"
#include "support/httpclient.h"

#include <memory>

/// A chunk that no behaviour answers to, recognised by its number.
inline QByteArray numbered(int number)
{
    return "{\"exchange\":\"test\",\"n\":" + QByteArray::number(number) + '}';
}

inline QByteArray arrayOf(int count)
{
    QByteArray json = "[";
    for (int i = 0; i < count; ++i)
        json += (i == 0 ? "" : ",") + numbered(i);
    return json + ']';
}

inline int numberIn(const support::StreamEvent &event)
{
    return event.json().value(QLatin1String("n")).toInt(-1);
}

inline QString exchangeOf(const support::StreamEvent &event)
{
    return event.json().value(QLatin1String("exchange")).toString();
}

/// A host whose exchange is tested, with a client. Base of a test's class.
class ExchangeHost
{
protected:
    bool startHost()
    {
        m_host = std::make_unique<support::HostProcess>();
        if (!m_host->start())
            return false;
        m_client = std::make_unique<support::HttpClient>(m_host->port());
        return true;
    }

    void endHost()
    {
        m_client.reset();
        m_host.reset();
    }

    /// Hands a body over: how many chunks were delivered, or the negative of another status than
    /// 202.
    int post(const QByteArray &body)
    {
        const support::HttpResponse response =
            m_client->exchange("POST", "/exchange/chunks", {}, body);
        return response.status == 202 ? response.json().value(QLatin1String("delivered")).toInt(-1)
                                      : -response.status;
    }

    /// The id that the next chunk's event gets, found by handing one over.
    qint64 idOfAnEvent()
    {
        support::EventStream stream(m_host->port());
        post(numbered(-1));
        return stream.next().id.toLongLong();
    }

    std::unique_ptr<support::HostProcess> m_host;
    std::unique_ptr<support::HttpClient> m_client;
};
