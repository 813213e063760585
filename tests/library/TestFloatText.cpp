#include <QTest>

#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "FloatText.h"
#include "TestRegistry.h"

// The library file's float conversions against the standard library's
// (correctly rounded, shortest) ones.
class TestFloatText : public QObject
{
    Q_OBJECT

private:
    static QByteArray standardText(float f)
    {
        char buf[64];
        return QByteArray(buf, std::to_chars(buf, buf + sizeof buf, f).ptr - buf);
    }
    static QByteArray ownText(float f)
    {
        char buf[FloatText::kMaxLength + 8];
        return QByteArray(buf, FloatText::write(buf, f) - buf);
    }

private slots:
    void writesLikeTheStandardLibrary_data()
    {
        QTest::addColumn<float>("value");
        QTest::addColumn<QByteArray>("text");
        QTest::newRow("zero") << 0.0f << QByteArray("0");
        QTest::newRow("negative zero") << -0.0f << QByteArray("-0");
        QTest::newRow("one tenth") << 0.1f << QByteArray("0.1");
        QTest::newRow("a weight") << 0.7746f << QByteArray("0.7746");
        QTest::newRow("next float after 0.1") << 0.10000001f << QByteArray("0.10000001");
        QTest::newRow("one third") << 1.0f / 3.0f << QByteArray("0.33333334");
        QTest::newRow("scientific is shorter") << 1e-5f << QByteArray("1e-05");
        QTest::newRow("1e-4 too") << 1e-4f << QByteArray("1e-04");
        QTest::newRow("fixed on a tie of lengths") << 0.001f << QByteArray("0.001");
        QTest::newRow("integral") << 3.0f << QByteArray("3");
        QTest::newRow("point inside") << -12.375f << QByteArray("-12.375");
        QTest::newRow("power of two, lopsided interval") << 0.5f << QByteArray("0.5");
        QTest::newRow("rounding up to a power of ten") << 9.9999999e-3f << QByteArray("0.01");
        QTest::newRow("large") << 3.40282347e38f << QByteArray("3.4028235e+38");
        QTest::newRow("smallest normal") << 1.17549435e-38f << QByteArray("1.1754944e-38");
        QTest::newRow("denormal") << 1.4e-45f << QByteArray("1e-45");
        QTest::newRow("big integer") << 16777216.0f << QByteArray("16777216");
        // A whole number in fixed form shows its exact digits, not the
        // shortest ones padded with zeros.
        QTest::newRow("whole above 2^24") << 33573968.0f << QByteArray("33573968");
        QTest::newRow("whole above 2^26") << 123456790.0f << QByteArray("123456792");
        QTest::newRow("whole with a shortest zero") << 1234560.0f << QByteArray("1234560");
        QTest::newRow("odd just above 2^23") << 8388609.0f << QByteArray("8388609");
        QTest::newRow("scientific from 1e5 on") << 100000.0f << QByteArray("1e+05");
        QTest::newRow("1e6") << 1000000.0f << QByteArray("1e+06");
        QTest::newRow("1e10") << 1e10f << QByteArray("1e+10");
        QTest::newRow("fixed on a tie, small") << 0.00012f << QByteArray("0.00012");
        QTest::newRow("scientific just below 1e-4") << 9.999999e-5f << QByteArray("9.999999e-05");
        QTest::newRow("largest denormal") << 0x1.fffffcp-127f << QByteArray("1.1754942e-38");
        QTest::newRow("second denormal") << 0x1p-148f << QByteArray("3e-45");
        QTest::newRow("seventh denormal rounds to a power of ten") << 0x1.cp-147f << QByteArray("1e-44");
        QTest::newRow("2^-100") << 0x1p-100f << QByteArray("7.888609e-31");
        QTest::newRow("2^100") << 0x1p100f << QByteArray("1.2676506e+30");
        QTest::newRow("below one") << 0x1.fffffep-1f << QByteArray("0.99999994");
        QTest::newRow("above one") << 0x1.000002p0f << QByteArray("1.0000001");
        QTest::newRow("negative largest") << -3.40282347e38f << QByteArray("-3.4028235e+38");
    }

    void writesLikeTheStandardLibrary()
    {
        QFETCH(float, value);
        QFETCH(QByteArray, text);
        QCOMPARE(standardText(value), text); // the table itself is right
        QCOMPARE(ownText(value), text);
    }

    // Every 9,973rd bit pattern of both signs: all exponents, regular and
    // lopsided intervals, fixed and scientific forms.
    void writesAndReadsBackAcrossTheRange()
    {
        int checked = 0;
        for (std::uint64_t bits = 0; bits < 0x7F800000u; bits += 9973) {
            for (const std::uint32_t sign : {0u, 0x80000000u}) {
                const float f = std::bit_cast<float>(std::uint32_t(bits) | sign);
                const QByteArray text = ownText(f);
                if (text != standardText(f))
                    QFAIL(qPrintable(QStringLiteral("%1: %2 instead of %3")
                                         .arg(bits, 8, 16, QLatin1Char('0'))
                                         .arg(QString::fromLatin1(text), QString::fromLatin1(standardText(f)))));
                float back = 0;
                const auto r = std::from_chars(text.constBegin(), text.constEnd(), back);
                QVERIFY(r.ec == std::errc() && r.ptr == text.constEnd());
                QCOMPARE(std::bit_cast<std::uint32_t>(back), std::bit_cast<std::uint32_t>(f));
                ++checked;
            }
        }
        QVERIFY(checked > 400000);
    }

    // Lists are written in blocks of 32: sizes around the block, zeros of
    // both signs, and values that JSON cannot hold anywhere in the list.
    void writesLists_data()
    {
        QTest::addColumn<int>("size");
        QTest::addColumn<int>("nonFiniteAt"); // -1: none
        QTest::newRow("empty") << 0 << -1;
        QTest::newRow("one") << 1 << -1;
        QTest::newRow("one block") << 32 << -1;
        QTest::newRow("one more") << 33 << -1;
        QTest::newRow("a vector") << 256 << -1;
        QTest::newRow("infinity first") << 40 << 0;
        QTest::newRow("infinity in the second block") << 40 << 35;
        QTest::newRow("infinity last") << 64 << 63;
    }

    void writesLists()
    {
        QFETCH(int, size);
        QFETCH(int, nonFiniteAt);
        std::vector<float> values;
        QByteArray expected;
        for (int i = 0; i < size; ++i) {
            const float magnitude = std::ldexp(float(i * 2654435761u % 1000003), -(i % 40) - 10);
            const float f = i % 7 == 0 ? (i % 2 ? -0.0f : 0.0f) : (i % 3 ? magnitude : -magnitude);
            values.push_back(f);
            expected += (i ? "," : "") + standardText(f);
        }
        if (nonFiniteAt >= 0)
            values[std::size_t(nonFiniteAt)] = nonFiniteAt % 2 ? std::numeric_limits<float>::quiet_NaN()
                                                               : std::numeric_limits<float>::infinity();
        std::vector<char> buffer(values.size() * (FloatText::kMaxLength + 1) + 1);
        char *end = FloatText::writeList(buffer.data(), values.data(), values.data() + values.size());
        if (nonFiniteAt >= 0) {
            QCOMPARE(end, nullptr);
            return;
        }
        QVERIFY(end);
        QCOMPARE(QByteArray(buffer.data(), end - buffer.data()), expected);
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestFloatText)
#include "TestFloatText.moc"
