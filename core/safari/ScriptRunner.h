#pragma once

#include <QString>

#include <optional>
#include <variant>

#include "ScriptValue.h"

// Runs one script text and gives back its answer or the error it reported.
class ScriptRunner
{
public:
    struct Failure
    {
        std::optional<int> number;      // absent when the error had none
        std::optional<QString> message; // absent when the error had none
        bool notCompiled = false;       // the text could not even be made into a script
        friend bool operator==(const Failure &, const Failure &) = default;
    };
    using Outcome = std::variant<ScriptValue, Failure>;

    virtual ~ScriptRunner() = default;
    virtual Outcome run(const QString &source) = 0;
    // Whether an application with this bundle identifier is running.
    virtual bool isRunning(const QString &bundleId) const = 0;
};
