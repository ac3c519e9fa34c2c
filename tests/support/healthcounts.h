#pragma once

#include "support/deadline.h"

namespace support {

class HttpClient;

/// What GET /health counts. The request that asks counts as well, so only differences between two
/// answers to the same client tell something.
struct HealthCounts
{
    int connections = -1;
    int waiting = -1;
    int controllers = -1;

    bool operator==(const HealthCounts &other) const;
    HealthCounts plus(int more) const; ///< as many waiting clients more, each with a controller
};

HealthCounts healthCounts(HttpClient &client);

/// Asks until the counts are these; false when they never were.
bool waitForCounts(HttpClient &client, const HealthCounts &counts,
                   std::chrono::milliseconds limit = patience);

/// The text of counts in a failed comparison.
char *toString(const HealthCounts &counts);

} // namespace support
