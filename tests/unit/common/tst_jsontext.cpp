#include "common/jsontext.h"

#include <QtCore/QByteArrayList>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtTest/QtTest>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>

namespace {

/// The object's two texts by Qt.
QByteArrayList qtTexts(const QJsonObject &object)
{
    const QJsonDocument document(object);
    return {document.toJson(), document.toJson(QJsonDocument::Compact)};
}

QByteArrayList ourTexts(const QJsonObject &object)
{
    return {common::indentedJson(object), common::compactJson(object)};
}

class RandomValues
{
public:
    QJsonObject object(int depth)
    {
        QJsonObject result;
        for (int count = pick(7); count > 0; --count)
            result.insert(text(), value(depth));
        return result;
    }

    quint64 bits() { return (quint64(m_random()) << 32) | m_random(); }
    int pick(int bound) { return static_cast<int>(m_random() % static_cast<unsigned>(bound)); }

    double number()
    {
        double result = 0;
        switch (pick(5)) {
        case 0:
            return pick(2000) - 1000;
        case 1:
            return static_cast<double>(static_cast<qint64>(bits()) >> pick(60));
        case 2:
            return (pick(2000000) - 1000000) / 1000.0;
        case 3:
            return std::ldexp(1.0, pick(140) - 70) * (pick(2) == 0 ? 1 : -1);
        default: {
            const quint64 pattern = bits();
            std::memcpy(&result, &pattern, sizeof result);
            return result;
        }
        }
    }

    QString text()
    {
        QString result;
        for (int count = pick(12); count > 0; --count) {
            switch (pick(6)) {
            case 0:
                result += QChar(ushort(pick(0x80)));
                break;
            case 1:
                result += QChar(ushort(pick(0x10000)));
                break;
            case 2:
                result += QChar(ushort(0xd800 + pick(0x800))); // half a pair, mostly
                break;
            case 3:
                result += QString::fromUcs4(&m_beyond, 1);
                break;
            default:
                result += QLatin1Char(char('a' + pick(26)));
            }
        }
        return result;
    }

private:
    QJsonValue value(int depth)
    {
        switch (pick(depth > 0 ? 8 : 6)) {
        case 0:
            return QJsonValue::Null;
        case 1:
            return pick(2) == 0;
        case 2:
        case 3:
            return number();
        case 4:
        case 5:
            return text();
        case 6: {
            QJsonArray array;
            for (int count = pick(5); count > 0; --count)
                array.append(value(depth - 1));
            return array;
        }
        default:
            return object(depth - 1);
        }
    }

    std::mt19937 m_random{20191123};
    uint m_beyond = 0x1f600;
};

} // namespace

class TestJsonText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void everyCodeUnitIsWrittenAsQtDoes();
    void surrogatesAreWrittenAsQtDoes();
    void anyPlaceInATextIsWrittenAsQtDoes();
    void numbersAreWrittenAsQtDoes();
    void exactIntegersAreWrittenAsQtDoes();
    void emptyContainersAreWrittenAsQtDoes();
    void nestingIsIndentedAsQtDoes();
    void longTextsAreWhole();
    void randomObjectsAreWrittenAsQtDoes();
};

void TestJsonText::everyCodeUnitIsWrittenAsQtDoes()
{
    for (int first = 0; first < 0x10000; first += 16) {
        QJsonObject object;
        for (int unit = first; unit < first + 16; ++unit) {
            const QString text =
                QLatin1Char('a') + QString(QChar(static_cast<ushort>(unit))) + QLatin1Char('b');
            object.insert(text, text);
        }
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
}

void TestJsonText::surrogatesAreWrittenAsQtDoes()
{
    const QChar high(0xd83d);
    const QChar low(0xde00);
    const QStringList texts{QString(high),
                            QString(low),
                            QString(high) + low,
                            QString(low) + high,
                            QString(high) + high + low + low,
                            QString(high) + QLatin1Char('a') + low,
                            QString(QChar(0xdbff)) + QChar(0xdfff),
                            QString(QChar(0xd800)) + QChar(0xdc00)};
    for (const QString &text : texts) {
        const QJsonObject object{{text, text}};
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
}

// Plain characters are written many at once; what is not plain may stand anywhere among them.
void TestJsonText::anyPlaceInATextIsWrittenAsQtDoes()
{
    const QStringList specials{
        QStringLiteral("\""),   QStringLiteral("\\"),   QStringLiteral("\n"),
        QString(QChar(0x1f)),   QString(QChar(0x7f)),   QString(QChar(0x80)),
        QString(QChar(0xe9)),   QString(QChar(0x20ac)), QString(QChar(0xd83d)) + QChar(0xde00),
        QString(QChar(0xd83d)), QString(QChar(0xde00))};
    for (const QString &special : specials) {
        for (int before = 0; before < 40; ++before) {
            const QString text = QString(before, QLatin1Char('x')) + special;
            for (const int behind : {0, 1, 14, 15, 16, 17, 33}) {
                const QJsonObject object{{special, text + QString(behind, QLatin1Char('~'))}};
                QCOMPARE(ourTexts(object), qtTexts(object));
            }
        }
    }
}

void TestJsonText::numbersAreWrittenAsQtDoes()
{
    QVector<double> numbers{0.0,
                            -0.0,
                            1e9,
                            1e9 - 1,
                            -1e9,
                            1e9 + 0.5,
                            9007199254740992.0,
                            9007199254740994.0,
                            1e19,
                            1e20,
                            -1e20,
                            1e-5,
                            5e-324,
                            std::numeric_limits<double>::max(),
                            std::numeric_limits<double>::infinity(),
                            -std::numeric_limits<double>::infinity(),
                            std::numeric_limits<double>::quiet_NaN()};
    RandomValues random;
    for (int i = 0; i < 50000; ++i)
        numbers.append(random.number());
    for (const double number : qAsConst(numbers)) {
        const QJsonObject object{{QStringLiteral("n"), number}};
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
}

void TestJsonText::exactIntegersAreWrittenAsQtDoes()
{
    RandomValues random;
    for (int i = 0; i < 20000; ++i) {
        const qint64 number = static_cast<qint64>(random.bits()) >> random.pick(63);
        const QJsonObject object{{QStringLiteral("n"), number}};
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
    const QJsonObject parsed =
        QJsonDocument::fromJson(
            R"({"a":9007199254740993,"b":-0.0,"c":1e2,"d":10000000000000000000})")
            .object();
    QCOMPARE(ourTexts(parsed), qtTexts(parsed));
}

void TestJsonText::emptyContainersAreWrittenAsQtDoes()
{
    QCOMPARE(ourTexts(QJsonObject()), QByteArrayList({"{\n}\n", "{}"}));
    const QJsonObject object =
        QJsonDocument::fromJson(R"({"":{},"a":[],"b":[[],{},[{}]],"c":""})").object();
    QCOMPARE(ourTexts(object), qtTexts(object));
}

void TestJsonText::nestingIsIndentedAsQtDoes()
{
    QJsonObject object;
    for (int depth = 0; depth < 300; ++depth) {
        object = QJsonObject{{QStringLiteral("a"), QJsonArray{object, depth}},
                             {QStringLiteral("b"), QJsonValue::Null},
                             {QStringLiteral("c"), depth % 2 == 0}};
    }
    QCOMPARE(ourTexts(object), qtTexts(object));
}

void TestJsonText::longTextsAreWhole()
{
    for (const int size : {500, 511, 512, 513, 100000}) {
        const QJsonObject object{{QString(size, QLatin1Char('k')), QString(size, QChar(0x20ac))},
                                 {QStringLiteral("controls"), QString(size, QChar(1))}};
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
}

void TestJsonText::randomObjectsAreWrittenAsQtDoes()
{
    RandomValues random;
    for (int i = 0; i < 20000; ++i) {
        const QJsonObject object = random.object(3);
        QCOMPARE(ourTexts(object), qtTexts(object));
    }
}

QTEST_GUILESS_MAIN(TestJsonText)
#include "tst_jsontext.moc"
