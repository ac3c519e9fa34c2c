#include "chunk/documentfilter.h"

#include "fhir/documentreference.h"

#include <algorithm>

namespace {

bool equalIfGiven(const QString &wanted, const QString &present)
{
    return wanted.isEmpty() || wanted == present;
}

bool contentMatches(const QVector<domain::DocumentReferenceContent> &candidate,
                    const QVector<domain::DocumentReferenceContent> &filter)
{
    const auto sameUrl = [](const domain::DocumentReferenceContent &wanted,
                            const domain::DocumentReferenceContent &present) {
        return equalIfGiven(wanted.attachment.url, present.attachment.url);
    };
    return candidate.size() >= filter.size() &&
           std::equal(filter.cbegin(), filter.cend(), candidate.cbegin(), sameUrl);
}

} // namespace

bool matches(const domain::DocumentReference &candidate, const domain::DocumentReference &filter)
{
    const domain::Coding &type = candidate.type().coding;
    const domain::Coding &wantedType = filter.type().coding;
    return equalIfGiven(filter.status(), candidate.status()) &&
           contentMatches(candidate.content(), filter.content()) &&
           equalIfGiven(wantedType.system, type.system) && equalIfGiven(wantedType.code, type.code);
}
