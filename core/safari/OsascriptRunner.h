#pragma once

#include <QString>

#include "ScriptRunner.h"

// Runs scripts through the system's `osascript` tool (macOS), reading the
// answer it prints in source form (`-s s`) back into a ScriptValue.
class OsascriptRunner final : public ScriptRunner
{
public:
    explicit OsascriptRunner(QString program = QStringLiteral("osascript"));

    Outcome run(const QString &source) override;
    bool isRunning(const QString &bundleId) const override;

    // The printed answer to a value; absent when the text is not one.
    static std::optional<ScriptValue> parseValue(const QString &printed);
    // The error osascript printed on its error stream.
    static Failure parseFailure(const QString &errorText);

private:
    Outcome execute(const QString &source) const;

    QString m_program;
};
