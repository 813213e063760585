#include "AIEngine.h"

#include "ModelClient.h"
#include "SerialGate.h"
#include "WithTimeout.h"
#include "PlatformWords.h"

namespace AIEngine {

const QString &instructions()
{
    static const QString text = PlatformWords::modelInstructions();
    return text;
}

SerialGate &gate()
{
    static SerialGate shared;
    return shared;
}

std::optional<QJsonObject> generate(const QString &prompt, const ModelSchema &schema,
                                    std::chrono::milliseconds limit, std::stop_token stop)
{
    return generate(ModelConfig::current(), prompt, schema, limit, stop);
}

std::optional<QJsonObject> generate(const ModelConfig &config, const QString &prompt, const ModelSchema &schema,
                                    std::chrono::milliseconds limit, std::stop_token stop)
{
    return gate().run([&] {
        return withTimeout<QJsonObject>(
            limit,
            [config, prompt, schema](std::stop_token workerStop) -> std::optional<QJsonObject> {
                if (workerStop.stop_requested())
                    return std::nullopt;
                Result<QJsonObject> reply = ModelClient(config).generate(instructions(), prompt, schema, workerStop);
                if (!reply)
                    return std::nullopt;
                return std::move(reply).value();
            },
            stop);
    });
}

} // namespace AIEngine
