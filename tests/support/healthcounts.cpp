#include "support/healthcounts.h"

#include "support/httpclient.h"

#include <QtTest/QTest>

namespace support {

bool HealthCounts::operator==(const HealthCounts &other) const
{
    return connections == other.connections && waiting == other.waiting &&
           controllers == other.controllers;
}

HealthCounts HealthCounts::plus(int more) const
{
    return {connections + more, waiting + more, controllers + more};
}

HealthCounts healthCounts(HttpClient &client)
{
    const QJsonObject http =
        client.exchange("GET", "/health").json().value(QLatin1String("http")).toObject();
    return {http.value(QLatin1String("connections")).toInt(-1),
            http.value(QLatin1String("waiting")).toInt(-1),
            http.value(QLatin1String("controllers")).toInt(-1)};
}

bool waitForCounts(HttpClient &client, const HealthCounts &counts, std::chrono::milliseconds limit)
{
    HealthCounts last;
    const bool reached = waitUntil([&] { return (last = healthCounts(client)) == counts; }, limit);
    if (!reached)
        qWarning("Counts: %s, not %s", toString(last), toString(counts));
    return reached;
}

char *toString(const HealthCounts &counts)
{
    return QTest::toString(QStringLiteral("%1 connections, %2 waiting, %3 controllers")
                               .arg(counts.connections)
                               .arg(counts.waiting)
                               .arg(counts.controllers));
}

} // namespace support
