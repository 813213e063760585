#include "JsonText.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QLocale>
#include <cmath>

namespace {

struct Writer
{
    bool indent = false;
    bool escapeSlash = false;
    QString out;

    void newline(int depth)
    {
        out += u'\n';
        out += QString(depth * 2, u' ');
    }

    void string(const QString &text)
    {
        out += u'"';
        for (const QChar c : text) {
            switch (c.unicode()) {
            case u'"': out += QLatin1String("\\\""); break;
            case u'\\': out += QLatin1String("\\\\"); break;
            case u'/': out += escapeSlash ? QLatin1String("\\/") : QLatin1String("/"); break;
            case u'\b': out += QLatin1String("\\b"); break;
            case u'\f': out += QLatin1String("\\f"); break;
            case u'\n': out += QLatin1String("\\n"); break;
            case u'\r': out += QLatin1String("\\r"); break;
            case u'\t': out += QLatin1String("\\t"); break;
            default:
                if (c.unicode() < 0x20)
                    out += QStringLiteral("\\u%1").arg(c.unicode(), 4, 16, QLatin1Char('0'));
                else
                    out += c;
            }
        }
        out += u'"';
    }

    bool number(double d)
    {
        if (!std::isfinite(d))
            return false;
        // Whole numbers stay integers so that counts read as counts.
        if (d == std::floor(d) && std::fabs(d) < 9007199254740992.0)
            out += QString::number(static_cast<qint64>(d));
        else
            out += QString::number(d, 'g', QLocale::FloatingPointShortest);
        return true;
    }

    bool value(const QJsonValue &v, int depth)
    {
        switch (v.type()) {
        case QJsonValue::Null:
        case QJsonValue::Undefined: out += QLatin1String("null"); return true;
        case QJsonValue::Bool: out += v.toBool() ? QLatin1String("true") : QLatin1String("false"); return true;
        case QJsonValue::Double:
            if (v.toVariant().typeId() == QMetaType::LongLong) {
                out += QString::number(v.toInteger());
                return true;
            }
            return number(v.toDouble());
        case QJsonValue::String: string(v.toString()); return true;
        case QJsonValue::Array: {
            const QJsonArray a = v.toArray();
            out += u'[';
            if (a.isEmpty()) {
                out += u']';
                return true;
            }
            bool first = true;
            for (const QJsonValue &item : a) {
                if (!first)
                    out += u',';
                first = false;
                if (indent)
                    newline(depth + 1);
                if (!value(item, depth + 1))
                    return false;
            }
            if (indent)
                newline(depth);
            out += u']';
            return true;
        }
        case QJsonValue::Object: {
            const QJsonObject o = v.toObject();
            out += u'{';
            if (o.isEmpty()) {
                out += u'}';
                return true;
            }
            // QJsonObject iterates its keys in sorted order.
            bool first = true;
            for (auto it = o.begin(); it != o.end(); ++it) {
                if (!first)
                    out += u',';
                first = false;
                if (indent)
                    newline(depth + 1);
                string(it.key());
                out += indent ? QLatin1String(" : ") : QLatin1String(":");
                if (!value(it.value(), depth + 1))
                    return false;
            }
            if (indent)
                newline(depth);
            out += u'}';
            return true;
        }
        }
        return false;
    }
};

std::optional<QString> write(const QJsonValue &v, bool indent, bool escapeSlash)
{
    Writer w{indent, escapeSlash, {}};
    if (!w.value(v, 0))
        return std::nullopt;
    return w.out;
}

} // namespace

namespace JsonText {

std::optional<QString> compact(const QJsonValue &value)
{
    return write(value, false, false);
}

std::optional<QString> pretty(const QJsonValue &value)
{
    return write(value, true, true);
}

} // namespace JsonText
