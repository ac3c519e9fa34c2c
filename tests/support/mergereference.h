#pragma once

#include <QtCore/QJsonArray>
#include <QtCore/QJsonObject>
#include <QtCore/QJsonValue>
#include <QtCore/QString>

class ContextService;
class QLoggingCategory;

/// The merging of entries written straight down, step by step, without a thought for speed. What
/// the module does is compared with it, log lines included.
namespace support {

struct MergeReference
{
    QString exchange;
    QString arrayKey;
    const QLoggingCategory &(*category)();
    bool matchingItems; ///< false for action requests
};

MergeReference matchingItemsReference();
MergeReference actionRequestsReference();

bool referenceFits(const MergeReference &reference, const QJsonObject &filter,
                   const QJsonObject &context);
bool referenceValuesEqual(const MergeReference &reference, const QJsonValue &a,
                          const QJsonValue &b);
void referenceHandle(const MergeReference &reference, ContextService &contexts,
                     const QJsonValue &chunk);

} // namespace support
