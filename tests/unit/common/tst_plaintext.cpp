#include "common/plaintext.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtTest/QTest>

#include <algorithm>
#include <numeric>
#include <vector>

using namespace common;

class PlainTextTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void plainIsWhatQtPrintsAsItIs();
    void theFirstOtherUnitIsFoundWhereverItIs();
    void aTextOfAnyLengthIsPlainToItsEnd();
};

void PlainTextTest::plainIsWhatQtPrintsAsItIs()
{
    for (int unit = 0; unit <= 0xffff; ++unit) {
        const QString text(QChar{ushort(unit)});
        const QByteArray printed =
            QJsonDocument(QJsonArray{text}).toJson(QJsonDocument::Compact).mid(2).chopped(2);
        const bool isAsIs = printed.size() == 1 && uchar(printed.at(0)) == unit;
        QVERIFY2(isPlain(ushort(unit)) == isAsIs, printed.constData());
    }
}

// Blocks are looked at in another way than what is left of a text, so every unit has its turn at
// the edges of both.
void PlainTextTest::theFirstOtherUnitIsFoundWhereverItIs()
{
    constexpr size_t length = 40;
    for (const size_t place : {0, 1, 7, 8, 15, 16, 31, 32, 39}) {
        std::vector<ushort> units(length, 'x');
        units.back() = '"'; // found where nothing comes before it
        for (int unit = 0; unit <= 0xffff; ++unit) {
            units[place] = ushort(unit);
            const size_t expected = isPlain(ushort(unit)) ? length - (place < length - 1) : place;
            const ushort *const found = endOfPlain(units.data(), units.data() + length);
            if (size_t(found - units.data()) != expected)
                QFAIL(qPrintable(QStringLiteral("unit %1 at %2").arg(unit).arg(place)));
        }
    }
}

void PlainTextTest::aTextOfAnyLengthIsPlainToItsEnd()
{
    std::vector<ushort> units(0x80 - 0x20);
    std::iota(units.begin(), units.end(), ushort(0x20));
    units.erase(std::remove_if(units.begin(), units.end(), [](ushort u) { return !isPlain(u); }),
                units.end());
    for (size_t length = 0; length <= units.size(); ++length) {
        const ushort *const end = units.data() + length;
        QCOMPARE(endOfPlain(units.data(), end), end);
    }
}

QTEST_APPLESS_MAIN(PlainTextTest)
#include "tst_plaintext.moc"
