#include "Fmt.h"

#include <QTest>
#include "TestRegistry.h"

// The test environment runs in Europe/Zurich.
class TestFmt : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void number_data()
    {
        QTest::addColumn<qint64>("value");
        QTest::addColumn<QString>("text");
        QTest::newRow("zero") << qint64(0) << "0";
        QTest::newRow("999") << qint64(999) << "999";
        QTest::newRow("1234") << qint64(1234) << "1'234";
        QTest::newRow("million") << qint64(1234567) << "1'234'567";
        QTest::newRow("100000") << qint64(100000) << "100'000";
        QTest::newRow("negative") << qint64(-1234) << "-1'234";
        QTest::newRow("min") << std::numeric_limits<qint64>::min() << "-9'223'372'036'854'775'808";
    }

    void number()
    {
        QFETCH(qint64, value);
        QFETCH(QString, text);
        QCOMPARE(Fmt::number(value), text);
    }

    void parseISO_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QDateTime>("expected"); // invalid: no value
        const QDateTime utc(QDate(2026, 11, 16), QTime(19, 31), Qt::UTC);
        QTest::newRow("utc") << "2026-11-16T19:31:00Z" << utc;
        QTest::newRow("offset") << "2026-11-16T21:31:00+02:00" << utc;
        QTest::newRow("negative offset") << "2026-11-16T14:31:00-05:00" << utc;
        QTest::newRow("bare day is utc midnight") << "2026-11-16"
                                                  << QDateTime(QDate(2026, 11, 16), QTime(0, 0), Qt::UTC);
        QTest::newRow("no zone no seconds is local") << "2026-11-16T20:31" << utc;
        QTest::newRow("blank form is local") << "2026-11-16 20:31" << utc;
        QTest::newRow("no zone with seconds is local") << "2026-11-16T20:31:00" << utc;
        QTest::newRow("summer time local") << "2026-07-01T12:00"
                                           << QDateTime(QDate(2026, 7, 1), QTime(10, 0), Qt::UTC);
        QTest::newRow("fractional seconds") << "2026-11-16T19:31:00.5Z" << QDateTime();
        QTest::newRow("words") << "morgen" << QDateTime();
        QTest::newRow("impossible day") << "2026-02-30" << QDateTime();
        QTest::newRow("empty") << "" << QDateTime();
    }

    void parseISO()
    {
        QFETCH(QString, text);
        QFETCH(QDateTime, expected);
        const auto parsed = Fmt::parseISO(text);
        QCOMPARE(parsed.has_value(), expected.isValid());
        if (parsed)
            QCOMPARE(*parsed, expected);
    }

    void formats()
    {
        const QDateTime date(QDate(2026, 11, 16), QTime(23, 5), Qt::UTC); // Tuesday 00:05 local
        QCOMPARE(Fmt::iso(date), QStringLiteral("2026-11-16T23:05:00Z"));
        QCOMPARE(Fmt::dayKey(date), QStringLiteral("2026-11-17"));
        QCOMPARE(Fmt::dayMonth(date), QStringLiteral("17.11."));
        QCOMPARE(Fmt::dayMonthTime(date), QStringLiteral("17.11. 00:05"));
        QCOMPARE(Fmt::full(date), QStringLiteral("Dienstag, 17.11.2026, 00:05"));
        QCOMPARE(Fmt::weekdayDayMonth(date), QStringLiteral("Di. 17.11."));
    }
};

PELLMORA_TEST_GUILESS_MAIN(TestFmt)
#include "TestFmt.moc"
