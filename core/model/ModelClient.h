#pragma once

#include <QByteArray>
#include <QJsonObject>
#include <QString>
#include <QStringList>
#include <QUrl>

#include <chrono>
#include <stop_token>

#include "AIStatus.h"
#include "LibraryData.h"
#include "ModelConfig.h"
#include "ModelSchema.h"
#include "Result.h"

// Talks to a language-model server on this machine. Each call is synchronous:
// it makes its own network manager in the calling thread and waits in a local
// event loop, so it may be used from any worker thread. A stopped token
// aborts the request. The server's API (Ollama first, then the
// OpenAI-compatible one) is detected once per address and remembered.
class ModelClient
{
public:
    enum class Api { unknown, ollama, openAI };

    explicit ModelClient(ModelConfig config,
                         std::chrono::milliseconds probeLimit = std::chrono::seconds(3),
                         std::chrono::milliseconds requestLimit = std::chrono::seconds(120));

    const ModelConfig &config() const { return m_config; }

    AIStatus::Availability availability(std::stop_token stop = {}) const;

    // One request in a fresh conversation: the instructions as the system
    // message, the prompt with the schema appended as the user message, and
    // the schema as the required output format. The reply's JSON object, or
    // a failure when it cannot be had or does not fit the schema.
    Result<QJsonObject> generate(const QString &instructions, const QString &prompt,
                                 const ModelSchema &schema, std::stop_token stop = {}) const;

    // One vector per text, from the embedding model.
    Result<QList<Vector>> embed(const QStringList &texts, std::stop_token stop = {}) const;

    // The API remembered for this client's server address.
    Api api() const;
    static void forgetApis();

    // The user message: the prompt followed by the schema.
    static QString promptWithSchema(const QString &prompt, const ModelSchema &schema);

private:
    struct Reply
    {
        bool reached = false; // an HTTP answer came back
        int status = 0;
        QByteArray body;
    };

    Reply send(const QString &path, const QByteArray *body, std::chrono::milliseconds limit,
               std::stop_token stop) const;
    void remember(Api api) const;

    ModelConfig m_config;
    std::chrono::milliseconds m_probeLimit;
    std::chrono::milliseconds m_requestLimit;
};
