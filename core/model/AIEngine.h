#pragma once

#include <QJsonObject>
#include <QString>

#include <chrono>
#include <optional>
#include <stop_token>

#include "ModelConfig.h"
#include "ModelSchema.h"

class SerialGate;

// The instructions every model conversation starts with, the one gate that
// lets a single model request run at a time, and the request itself.
namespace AIEngine {

const QString &instructions();
SerialGate &gate();

// One guided request: waits for the gate, asks in a fresh conversation under
// the time limit, releases the gate whatever happens. The reply's object when
// it fits the schema, otherwise absent (the caller falls back).
std::optional<QJsonObject> generate(const QString &prompt, const ModelSchema &schema,
                                    std::chrono::milliseconds limit, std::stop_token stop = {});
// The same against an explicit server configuration.
std::optional<QJsonObject> generate(const ModelConfig &config, const QString &prompt, const ModelSchema &schema,
                                    std::chrono::milliseconds limit, std::stop_token stop = {});

} // namespace AIEngine
