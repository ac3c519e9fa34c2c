#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QVarLengthArray>

namespace common {

/// One member of an object in a JSON text.
struct JsonMember
{
    int key = 0; ///< where it begins in the text, behind its quotation mark
    int keyLength = 0;
    int value = 0;    ///< where the value begins, if it holds others
    int valueEnd = 0; ///< and the end of that
    bool holdsOthers = false;
    bool hasEscapes = false; ///< in the key
};

using JsonMembers = QVarLengthArray<JsonMember, 64>;

/// Whether the members of one object, from `first` on, may be fewer for Qt's parser than they are,
/// and one with values in it among those that it drops. Never false when that is so.
bool mayLoseValues(const QByteArray &text, const JsonMembers &members, int first);

/// The same for any object in a JSON text, as far as the text is one. Takes a small part of the
/// time that parsing takes.
bool mayRepeatKeys(const QByteArray &text);

} // namespace common
