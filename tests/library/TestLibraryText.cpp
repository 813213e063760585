#include "FloatText.h"
#include "Fmt.h"
#include "SavedTab.h"
#include "TestRegistry.h"

#include <bit>
#include <charconv>
#include <cstdint>
#include <vector>

namespace {

QByteArray standardText(float f)
{
    char buf[64];
    return QByteArray(buf, std::to_chars(buf, buf + sizeof buf, f).ptr - buf);
}

QByteArray ownText(float f)
{
    char buf[FloatText::kMaxLength + 8];
    return QByteArray(buf, FloatText::write(buf, f) - buf);
}

} // namespace

// Values as text: dates as the user reads and types them, floats as the
// library file holds them, web addresses as browsers report them. The tests
// run in Europe/Zurich.
class TestLibraryText : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void parseDate_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: no value
        const QDateTime utc(QDate(2026, 11, 16), QTime(19, 31), Qt::UTC);
        QTest::newRow("utc") << "2026-11-16T19:31:00Z" << utc;
        QTest::newRow("offset") << "2026-11-16T21:31:00+02:00" << utc;
        QTest::newRow("bare day is utc midnight") << "2026-11-16" << QDateTime(QDate(2026, 11, 16), QTime(0, 0), Qt::UTC);
        QTest::newRow("no zone is local") << "2026-11-16T20:31" << utc;
        QTest::newRow("blank form is local") << "2026-11-16 20:31" << utc;
        QTest::newRow("summer time local") << "2026-07-01T12:00" << QDateTime(QDate(2026, 7, 1), QTime(10, 0), Qt::UTC);
        QTest::newRow("fractional seconds") << "2026-11-16T19:31:00.5Z" << QDateTime();
        QTest::newRow("offset beyond a day") << "2026-11-16T19:31:00+24:00" << QDateTime();
        QTest::newRow("impossible day") << "2026-02-30" << QDateTime();
    }

    void parseDate()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const auto parsed = Fmt::parseISO(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (parsed)
            QCOMPARE(*parsed, expected);
    }

    // Just before midnight in UTC is already the next day here.
    void formatsInLocalTime()
    {
        const QDateTime date(QDate(2026, 11, 16), QTime(23, 5), Qt::UTC);
        QCOMPARE(Fmt::iso(date), QStringLiteral("2026-11-16T23:05:00Z"));
        QCOMPARE(Fmt::dayKey(date), QStringLiteral("2026-11-17"));
        QCOMPARE(Fmt::dayMonthTime(date), QStringLiteral("17.11. 00:05"));
        QCOMPARE(Fmt::full(date), QStringLiteral("Dienstag, 17.11.2026, 00:05"));
        QCOMPARE(Fmt::dayKey(QDateTime(QDate(2026, 3, 29), QTime(22, 30), Qt::UTC)), QStringLiteral("2026-03-30"));
    }

    // The shortest text, in the form the standard library picks, reading
    // back to the same bits: the edges of each form first, then every
    // 9,973rd bit pattern of both signs.
    void floatsWriteLikeTheStandardLibrary()
    {
        std::vector<float> values = {0.0f, -0.0f, 0.1f, 0.10000001f, 1.0f / 3.0f, 0.5f, 3.0f, -12.375f,
                                     1e-5f, 1e-4f, 0.001f, 0.00012f, 9.999999e-5f, 9.9999999e-3f,
                                     100000.0f, 1e10f, 16777216.0f, 33573968.0f, 123456790.0f, 1234560.0f,
                                     8388609.0f, 3.40282347e38f, -3.40282347e38f, 1.17549435e-38f, 1.4e-45f,
                                     0x1.fffffcp-127f, 0x1.cp-147f, 0x1p-100f, 0x1.fffffep-1f, 0x1.000002p0f};
        for (std::uint64_t bits = 0; bits < 0x7F800000u; bits += 9973)
            for (const std::uint32_t sign : {0u, 0x80000000u})
                values.push_back(std::bit_cast<float>(std::uint32_t(bits) | sign));
        for (const float f : values) {
            const QByteArray text = ownText(f);
            if (text != standardText(f))
                QFAIL(qPrintable(QStringLiteral("%1: %2 instead of %3")
                                     .arg(std::bit_cast<std::uint32_t>(f), 8, 16, QLatin1Char('0'))
                                     .arg(QString::fromLatin1(text), QString::fromLatin1(standardText(f)))));
            float back = 0;
            const auto read = std::from_chars(text.constBegin(), text.constEnd(), back);
            QVERIFY(read.ec == std::errc() && read.ptr == text.constEnd());
            QCOMPARE(std::bit_cast<std::uint32_t>(back), std::bit_cast<std::uint32_t>(f));
        }
    }

    // Browsers hand out addresses with characters left unescaped.
    void domainOf_data()
    {
        QTest::addColumn<QString>("url");
        QTest::addColumn<QString>("domain");
        QTest::newRow("capitals and www") << "https://WWW.Example.ORG/x" << "example.org";
        QTest::newRow("www once only") << "https://www.www.a.ch" << "www.a.ch";
        QTest::newRow("port and user") << "https://u@www.a.ch:8080/p" << "a.ch";
        QTest::newRow("no address") << "kein Link" << "";
        QTest::newRow("mail link") << "mailto:a@b.ch" << "";
        QTest::newRow("empty") << "" << "";
        QTest::newRow("bar in query") << "https://www.google.com/search?q=a|b" << "google.com";
        QTest::newRow("braces and blank") << "https://example.org/a b/{x}^`" << "example.org";
        QTest::newRow("international host") << "https://bücher.de/x" << "xn--bcher-kva.de";
    }

    void domainOf()
    {
        QFETCH(QString, url);
        QFETCH(QString, domain);
        QCOMPARE(SavedTab::domainOf(url), domain);
    }

};

PELLMORA_TEST_GUILESS_MAIN(TestLibraryText)
#include "TestLibraryText.moc"
