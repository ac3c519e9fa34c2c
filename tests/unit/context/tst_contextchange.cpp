#include "context/contextchange.h"

#include "contextfixture.h"

#include <QtTest/QtTest>

#include <random>

namespace {

/// The rule word for word: start from the old object, overwrite member by member.
QJsonObject literalMerge(QJsonObject old, const QJsonObject &changes)
{
    const QStringList keys = changes.keys();
    for (const QString &key : keys)
        old.insert(key, changes.value(key));
    return old;
}

/// The rule word for word.
QJsonObject literalChanges(const QJsonObject &old, const QJsonObject &now)
{
    const QStringList special{QStringLiteral("matchingItems"), QStringLiteral("actionRequests"),
                              QStringLiteral("inbox"), QStringLiteral("attachments")};
    QJsonObject changes;
    const QStringList keys = now.keys();
    for (const QString &key : keys) {
        if (!special.contains(key) && now.value(key) != old.value(key))
            changes.insert(key, now.value(key));
    }
    return changes;
}

/// Objects over few keys and values, so that two of them often agree in part.
class RandomObjects
{
public:
    QJsonObject next()
    {
        QJsonObject result;
        for (int count = pick(8); count > 0; --count)
            result.insert(m_keys.at(pick(m_keys.size())), value(2));
        return result;
    }

private:
    int pick(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }

    QJsonValue value(int depth)
    {
        switch (pick(depth > 0 ? 7 : 5)) {
        case 0:
            return QJsonValue::Null;
        case 1:
            return pick(2) == 0;
        case 2:
            return pick(3) * 0.5;
        case 3:
            return QStringLiteral("text");
        case 4:
            return QString(QStringLiteral("t\u00e4xt %1")).arg(pick(3));
        case 5:
            return QJsonArray{value(depth - 1), value(depth - 1)};
        default:
            return QJsonObject{{m_keys.at(pick(m_keys.size())), value(depth - 1)}};
        }
    }

    std::mt19937 m_random{20200913};
    QStringList m_keys{QStringLiteral("_id"),           QStringLiteral("patient"),
                       QStringLiteral("matchingItems"), QStringLiteral("actionRequests"),
                       QStringLiteral("inbox"),         QStringLiteral("attachments"),
                       QStringLiteral("s\u00e4nder"),   QStringLiteral("\U0001f600"),
                       QStringLiteral("\uffee"),        QString()};
};

using Map = QMap<QString, QJsonValue>;

Map mapOf(const QJsonObject &object)
{
    Map map;
    for (auto member = object.constBegin(); member != object.constEnd(); ++member)
        map.insert(member.key(), member.value());
    return map;
}

Map laidOver(Map old, const Map &changes)
{
    for (auto member = changes.constBegin(); member != changes.constEnd(); ++member)
        old.insert(member.key(), member.value());
    return old;
}

Map differences(const Map &old, const Map &now)
{
    Map changes;
    for (auto member = now.constBegin(); member != now.constEnd(); ++member) {
        if (!old.contains(member.key()) || old.value(member.key()) != member.value())
            changes.insert(member.key(), member.value());
    }
    return changes;
}

bool findsItsMembers(const QJsonObject &object)
{
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        if (object.value(member.key()) != member.value())
            return false;
    }
    return true;
}

/// Objects whose keys are made of characters that JSON texts may write in two ways and that Qt
/// sorts in two ways. Built by inserting, or parsed from a text with or without escapes, or both.
class OddObjects
{
public:
    QJsonObject next(int size)
    {
        Map members;
        while (members.size() < size)
            members.insert(key(), value());
        const int kind = pick(4);
        return kind == 3 ? inserted(members) : parsed(members, kind);
    }

private:
    enum Kind { Raw, Escaped, Mixed };

    int pick(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }

    QString key()
    {
        QString result;
        for (int count = pick(4); count > 0; --count)
            result += m_pieces.at(pick(m_pieces.size()));
        return result;
    }

    QJsonValue value()
    {
        return pick(2) == 0 ? QJsonValue(pick(3)) : QJsonValue(QString::number(pick(3)));
    }

    static QJsonObject inserted(const Map &members)
    {
        QJsonObject result;
        for (auto member = members.constBegin(); member != members.constEnd(); ++member)
            result.insert(member.key(), member.value());
        return result;
    }

    QJsonObject parsed(const Map &members, int kind)
    {
        QByteArrayList texts;
        for (auto member = members.constBegin(); member != members.constEnd(); ++member) {
            const bool escaped = kind == Escaped || (kind == Mixed && pick(2) == 0);
            const QByteArray number = QByteArray::number(member.value().toVariant().toInt());
            texts.append(quoted(member.key(), escaped) + ':' +
                         (member.value().isString() ? '"' + number + '"' : number));
        }
        return object(('{' + texts.join(',') + '}').constData());
    }

    static QByteArray quoted(const QString &key, bool escaped)
    {
        QByteArray text = "\"";
        for (int i = 0; i < key.size(); ++i) {
            const QChar unit = key.at(i);
            const bool pair =
                unit.isHighSurrogate() && i + 1 < key.size() && key.at(i + 1).isLowSurrogate();
            const bool must = unit < QLatin1Char(' ') || unit == QLatin1Char('"') ||
                              unit == QLatin1Char('\\') || (unit.isSurrogate() && !pair);
            if (!escaped && !must)
                text += pair ? key.mid(i++, 2).toUtf8() : QString(unit).toUtf8();
            else
                text += "\\u" + QByteArray::number(unit.unicode(), 16).rightJustified(4, '0');
        }
        return text + '"';
    }

    std::mt19937 m_random{20210117};
    const QStringList m_pieces{
        QStringLiteral("a"),      QStringLiteral("b"),          QStringLiteral("\""),
        QStringLiteral("\\"),     QStringLiteral("\n"),         QString(QChar(0)),
        QStringLiteral("\u00e4"), QStringLiteral("\ud7ff"),     QStringLiteral("\ue000"),
        QStringLiteral("\uffee"), QStringLiteral("\U0001f600"), QStringLiteral("\U00010000"),
        QString(QChar(0xd83d)),   QString(QChar(0xde00))};
};

} // namespace

class TestContextChange : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void changesAreNewAndDifferentMembers();
    void nullMemberDiffersFromMissingMember();
    void specialMembersDoNotCount_data();
    void specialMembersDoNotCount();
    void membersOnlyInTheOldObjectDoNotCount();
    void changesEqualTheLiteralRule();
    void mergeOverwritesMemberByMember();
    void mergeKeepsNullMembers();
    void mergeIsShallow();
    void mergeEqualsTheLiteralRule();
    void mergeThatChangesNothingIsTheOldObject();
    void oddKeysAreMergedAndComparedLikeOthers_data();
    void oddKeysAreMergedAndComparedLikeOthers();
};

void TestContextChange::changesAreNewAndDifferentMembers()
{
    QCOMPARE(changedMembers(object(R"({"same":1,"other":1})"),
                            object(R"({"same":1,"other":2,"new":{"a":[]}})")),
             object(R"({"other":2,"new":{"a":[]}})"));
}

void TestContextChange::nullMemberDiffersFromMissingMember()
{
    QCOMPARE(changedMembers(object("{}"), object(R"({"a":null})")), object(R"({"a":null})"));
    QCOMPARE(changedMembers(object(R"({"a":null})"), object(R"({"a":null})")), QJsonObject());
}

void TestContextChange::specialMembersDoNotCount_data()
{
    QTest::addColumn<QString>("key");
    for (const char *key : {"matchingItems", "actionRequests", "inbox", "attachments"})
        QTest::newRow(key) << QString::fromLatin1(key);
}

void TestContextChange::specialMembersDoNotCount()
{
    QFETCH(QString, key);
    QVERIFY(changedMembers({{key, 1}}, {{key, 2}}).isEmpty());
    QVERIFY(changedMembers({}, {{key, 2}}).isEmpty());
    const QString similar = key.toLower();
    const bool special = similar == key;
    QCOMPARE(changedMembers({}, {{similar, 2}}).isEmpty(), special);
    QVERIFY(!changedMembers({}, {{key + QLatin1Char('s'), 2}}).isEmpty());
}

void TestContextChange::membersOnlyInTheOldObjectDoNotCount()
{
    QVERIFY(changedMembers(object(R"({"a":1,"b":2})"), object(R"({"a":1})")).isEmpty());
}

void TestContextChange::changesEqualTheLiteralRule()
{
    RandomObjects random;
    int changes = 0;
    for (int i = 0; i < 20000; ++i) {
        const QJsonObject old = random.next();
        const QJsonObject now = random.next();
        QCOMPARE(changedMembers(old, now), literalChanges(old, now));
        changes += changedMembers(old, now).size();
    }
    QVERIFY(changes > 20000);
}

void TestContextChange::mergeOverwritesMemberByMember()
{
    QCOMPARE(merged(object(R"({"a":"old","b":"kept","c":1})"),
                    object(R"({"a":"new","c":"text","d":[1]})"))
                 .object,
             object(R"({"a":"new","b":"kept","c":"text","d":[1]})"));
}

void TestContextChange::mergeKeepsNullMembers()
{
    QCOMPARE(merged(object(R"({"a":"old","b":1})"), object(R"({"a":null,"c":null})")).object,
             object(R"({"a":null,"b":1,"c":null})"));
}

void TestContextChange::mergeIsShallow()
{
    QCOMPARE(merged(object(R"({"a":{"b":1}})"), object(R"({"a":{"c":2}})")).object,
             object(R"({"a":{"c":2}})"));
}

void TestContextChange::mergeEqualsTheLiteralRule()
{
    RandomObjects random;
    QJsonObject grown;
    for (int i = 0; i < 20000; ++i) {
        const QJsonObject old = random.next();
        const QJsonObject changes = random.next();
        const ContextChange change = merged(old, changes);
        QCOMPARE(change.object, literalMerge(old, changes));
        QCOMPARE(change.differs, change.object != old);
        QCOMPARE(change.members, literalChanges(old, change.object));
        const QJsonObject next = merged(grown, changes).object;
        QCOMPARE(next, literalMerge(grown, changes));
        QCOMPARE(QJsonDocument(next).toJson(),
                 QJsonDocument(literalMerge(grown, changes)).toJson());
        grown = next;
    }
}

void TestContextChange::mergeThatChangesNothingIsTheOldObject()
{
    // The same order of members too, which Qt counts when it compares objects.
    const QJsonObject old = object("{\"\U0001f600\":1,\"\uffee\":2}");
    QCOMPARE(merged(old, object(R"({"\ud83d\ude00":1})")).object, old);
    QCOMPARE(merged(old, QJsonObject()).object, old);
}

void TestContextChange::oddKeysAreMergedAndComparedLikeOthers_data()
{
    QTest::addColumn<int>("oldSize");
    QTest::addColumn<int>("changesSize");
    QTest::newRow("few over few") << 6 << 6;
    QTest::newRow("few over many") << 200 << 6;
    QTest::newRow("many over few") << 6 << 200;
    QTest::newRow("many over many") << 200 << 200;
    QTest::newRow("just few") << 17 << 16;
    QTest::newRow("just many") << 17 << 17;
}

/// Qt keeps parsed and inserted keys in different orders: the results are compared with a plain map
/// from key to value instead.
void TestContextChange::oddKeysAreMergedAndComparedLikeOthers()
{
    QFETCH(int, oldSize);
    QFETCH(int, changesSize);
    OddObjects random;
    int findable = 0;
    for (int i = 0; i < 400; ++i) {
        const QJsonObject old = random.next(oldSize);
        const QJsonObject changes = random.next(changesSize);
        const ContextChange change = merged(old, changes);
        const Map expected = laidOver(mapOf(old), mapOf(changes));
        QCOMPARE(change.object.size(), expected.size());
        QCOMPARE(mapOf(change.object), expected);
        if (!findsItsMembers(old) || !findsItsMembers(changes))
            continue; // what Qt does not find in its own object cannot be compared
        ++findable;
        QVERIFY(findsItsMembers(change.object));
        QCOMPARE(mapOf(change.members), differences(mapOf(old), expected));
        QCOMPARE(change.differs, mapOf(old) != expected);
        const QJsonObject changed = changedMembers(old, changes);
        QCOMPARE(mapOf(changed), differences(mapOf(old), mapOf(changes)));
        QVERIFY(findsItsMembers(changed));
    }
    QVERIFY(findable > 50);
}

QTEST_GUILESS_MAIN(TestContextChange)
#include "tst_contextchange.moc"
