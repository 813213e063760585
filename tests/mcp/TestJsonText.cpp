#include "TestJsonText.h"

#include "JsonText.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QTest>
#include <limits>
#include "TestRegistry.h"

void TestJsonText::writes_data()
{
    QTest::addColumn<QJsonValue>("value");
    QTest::addColumn<QString>("compact");
    QTest::addColumn<QString>("pretty");

    QTest::newRow("slashes") << QJsonValue(QStringLiteral("a/b")) << QStringLiteral("\"a/b\"")
                             << QStringLiteral("\"a\\/b\"");
    QTest::newRow("controls and quotes")
        << QJsonValue(QStringLiteral("\"x\"\\\n\t") + QChar(0x01)) << QStringLiteral("\"\\\"x\\\"\\\\\\n\\t\\u0001\"")
        << QStringLiteral("\"\\\"x\\\"\\\\\\n\\t\\u0001\"");
    QTest::newRow("umlaut stays") << QJsonValue(QStringLiteral("Rösti")) << QStringLiteral("\"Rösti\"")
                                  << QStringLiteral("\"Rösti\"");
    QTest::newRow("sorted keys")
        << QJsonValue(QJsonObject{{"b", 1}, {"a", QJsonArray{true, QJsonValue()}}})
        << QStringLiteral("{\"a\":[true,null],\"b\":1}")
        << QStringLiteral("{\n  \"a\" : [\n    true,\n    null\n  ],\n  \"b\" : 1\n}");
    QTest::newRow("empty containers") << QJsonValue(QJsonObject{{"x", QJsonArray()}, {"y", QJsonObject()}})
                                      << QStringLiteral("{\"x\":[],\"y\":{}}")
                                      << QStringLiteral("{\n  \"x\" : [],\n  \"y\" : {}\n}");
    QTest::newRow("float score widened") << QJsonValue(double(0.123f)) << QStringLiteral("0.12300000339746475")
                                         << QStringLiteral("0.12300000339746475");
    QTest::newRow("big integer") << QJsonValue(qint64(9007199254740993)) << QStringLiteral("9007199254740993")
                                 << QStringLiteral("9007199254740993");
    QTest::newRow("negative") << QJsonValue(-32700) << QStringLiteral("-32700") << QStringLiteral("-32700");
}

void TestJsonText::writes()
{
    QFETCH(QJsonValue, value);
    QFETCH(QString, compact);
    QFETCH(QString, pretty);
    QCOMPARE(JsonText::compact(value).value_or(QStringLiteral("<none>")), compact);
    QCOMPARE(JsonText::pretty(value).value_or(QStringLiteral("<none>")), pretty);
}

void TestJsonText::nonFiniteCannotBeWritten()
{
    const QJsonObject o{{"s", std::numeric_limits<double>::infinity()}};
    QVERIFY(!JsonText::compact(o));
    QVERIFY(!JsonText::pretty(QJsonArray{std::numeric_limits<double>::quiet_NaN()}));
}

PELLMORA_TEST_GUILESS_MAIN(TestJsonText)
