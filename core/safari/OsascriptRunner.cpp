#include "OsascriptRunner.h"

#include <QProcess>
#include <QRegularExpression>

namespace {

// How long one script may take before it counts as failed; closing many
// tabs in a large session can take a while.
constexpr int scriptTimeoutMs = 120000;

class Parser
{
public:
    explicit Parser(const QString &text) : m_text(text) {}

    std::optional<ScriptValue> parseAll()
    {
        skipBlanks();
        if (m_pos == m_text.size())
            return ScriptValue(); // a script without result prints nothing
        std::optional<ScriptValue> value = parseOne();
        skipBlanks();
        if (!value || m_pos != m_text.size())
            return std::nullopt;
        return value;
    }

private:
    void skipBlanks()
    {
        while (m_pos < m_text.size() && m_text.at(m_pos).isSpace())
            ++m_pos;
    }

    bool consume(QLatin1String word)
    {
        if (QStringView(m_text).mid(m_pos).startsWith(word)) {
            m_pos += word.size();
            return true;
        }
        return false;
    }

    std::optional<ScriptValue> parseOne()
    {
        skipBlanks();
        if (m_pos >= m_text.size())
            return std::nullopt;
        const QChar c = m_text.at(m_pos);
        if (c == QLatin1Char('{'))
            return parseList();
        if (c == QLatin1Char('"'))
            return parseString();
        if (consume(QLatin1String("missing value")))
            return ScriptValue();
        if (consume(QLatin1String("true")))
            return ScriptValue::string(QStringLiteral("true"));
        if (consume(QLatin1String("false")))
            return ScriptValue::string(QStringLiteral("false"));
        return parseNumber();
    }

    std::optional<ScriptValue> parseList()
    {
        // Safari's answers nest three lists deep; a deeper text is not one of
        // them and must not run the parser out of stack.
        if (m_depth >= maxDepth)
            return std::nullopt;
        ++m_depth;
        std::optional<ScriptValue> list = parseListItems();
        --m_depth;
        return list;
    }

    std::optional<ScriptValue> parseListItems()
    {
        ++m_pos; // '{'
        ScriptValue::List items;
        skipBlanks();
        if (consume(QLatin1String("}")))
            return ScriptValue::list(items);
        while (true) {
            std::optional<ScriptValue> item = parseOne();
            if (!item)
                return std::nullopt;
            items.append(*item);
            skipBlanks();
            if (consume(QLatin1String("}")))
                return ScriptValue::list(items);
            if (!consume(QLatin1String(",")))
                return std::nullopt;
        }
    }

    std::optional<ScriptValue> parseString()
    {
        ++m_pos; // opening quote
        QString out;
        while (m_pos < m_text.size()) {
            const QChar c = m_text.at(m_pos++);
            if (c == QLatin1Char('"'))
                return ScriptValue::string(out);
            if (c != QLatin1Char('\\')) {
                out.append(c);
                continue;
            }
            if (m_pos >= m_text.size())
                return std::nullopt;
            const QChar escaped = m_text.at(m_pos++);
            switch (escaped.unicode()) {
            case 'n':
                out.append(QLatin1Char('\n'));
                break;
            case 'r':
                out.append(QLatin1Char('\r'));
                break;
            case 't':
                out.append(QLatin1Char('\t'));
                break;
            default:
                out.append(escaped); // \" and \\ stand for themselves
            }
        }
        return std::nullopt; // unterminated
    }

    std::optional<ScriptValue> parseNumber()
    {
        static const QRegularExpression number(QStringLiteral("-?\\d+(\\.\\d+)?([eE][+-]?\\d+)?"));
        const QRegularExpressionMatch match =
            number.match(m_text, m_pos, QRegularExpression::NormalMatch, QRegularExpression::AnchorAtOffsetMatchOption);
        if (!match.hasMatch())
            return std::nullopt;
        m_pos = match.capturedEnd();
        if (match.hasCaptured(1) || match.hasCaptured(2))
            return ScriptValue::string(match.captured()); // reals only ever matter as text here
        bool ok = false;
        const qint64 value = match.captured().toLongLong(&ok);
        return ok ? ScriptValue::integer(value) : ScriptValue::string(match.captured());
    }

    static constexpr int maxDepth = 64;

    const QString &m_text;
    qsizetype m_pos = 0;
    int m_depth = 0;
};

} // namespace

OsascriptRunner::OsascriptRunner(QString program) : m_program(std::move(program)) {}

std::optional<ScriptValue> OsascriptRunner::parseValue(const QString &printed)
{
    return Parser(printed).parseAll();
}

ScriptRunner::Failure OsascriptRunner::parseFailure(const QString &errorText)
{
    // e.g. "27:60: execution error: Not authorized to send Apple events to Safari. (-1743)"
    static const QRegularExpression shape(
        QStringLiteral("(syntax error|execution error):\\s*(.*?)\\s*(?:\\((-?\\d+)\\))?\\s*$"),
        QRegularExpression::DotMatchesEverythingOption);
    Failure failure;
    const QRegularExpressionMatch match = shape.match(errorText.trimmed());
    if (!match.hasMatch()) {
        const QString text = errorText.trimmed();
        if (!text.isEmpty())
            failure.message = text;
        return failure;
    }
    failure.notCompiled = match.captured(1) == QLatin1String("syntax error");
    if (!match.captured(2).isEmpty())
        failure.message = match.captured(2);
    if (match.hasCaptured(3)) {
        bool ok = false;
        const int number = match.captured(3).toInt(&ok);
        if (ok)
            failure.number = number;
    }
    return failure;
}

ScriptRunner::Outcome OsascriptRunner::execute(const QString &source) const
{
    QProcess process;
    process.start(m_program, {QStringLiteral("-s"), QStringLiteral("s")});
    if (!process.waitForStarted())
        return Failure{std::nullopt, QStringLiteral("osascript nicht gefunden"), false};
    process.write(source.toUtf8());
    process.closeWriteChannel();
    if (!process.waitForFinished(scriptTimeoutMs)) {
        process.kill();
        process.waitForFinished();
        return Failure{std::nullopt, QStringLiteral("Zeitüberschreitung"), false};
    }
    const QString out = QString::fromUtf8(process.readAllStandardOutput());
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0)
        return parseFailure(QString::fromUtf8(process.readAllStandardError()));
    if (std::optional<ScriptValue> value = parseValue(out))
        return *value;
    return Failure{std::nullopt, QStringLiteral("Antwort unlesbar"), false};
}

ScriptRunner::Outcome OsascriptRunner::run(const QString &source)
{
    return execute(source);
}

bool OsascriptRunner::isRunning(const QString &bundleId) const
{
    QString literal = bundleId;
    literal.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    const Outcome outcome = execute(QStringLiteral("application id \"%1\" is running").arg(literal));
    const ScriptValue *value = std::get_if<ScriptValue>(&outcome);
    return value && value->stringValue() == QLatin1String("true");
}
