#pragma once

#include <QtCore/QString>

/// The context id of a second (since 1970-01-01 UTC): 16 letters and digits. The same second always
/// gives the same id, which other parts of the workstation rely on. Reseeds the calling thread's
/// `qrand`.
QString contextIdOfSecond(qint64 second);
