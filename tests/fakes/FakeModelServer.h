#pragma once

#include "LocalHttpServer.h"

#include <QHash>
#include <QJsonObject>
#include <QList>
#include <QString>

#include <functional>

// The local model server as Ollama answers it: /api/tags lists the model,
// /api/chat and /api/embed answer what the test scripts. While it lives,
// PELLMORA_MODEL_URL and PELLMORA_MODEL point this process at it;
// environment() hands the same to a child process.
class FakeModelServer : public LocalHttpServer
{
public:
    explicit FakeModelServer(const QString &model = QStringLiteral("gemma"));
    ~FakeModelServer();

    QHash<QString, QString> environment() const;

    // A JSON answer with the given status.
    static Response json(const QJsonObject &object, int status = 200, int delayMs = 0);
    // An Ollama chat answer whose message is the text, or the record as JSON
    // text (the way the model answers a schema).
    static Response ollamaChat(const QString &content, int status = 200, int delayMs = 0);
    static Response ollamaChat(const QJsonObject &record, int status = 200, int delayMs = 0);
    // The OpenAI-compatible chat answer.
    static Response openAIChat(const QString &content);

    // Every chat request gets this record.
    void answerChat(const QJsonObject &record, int delayMs = 0);
    // /api/embed answers each input with the vector the function gives it.
    void embedWith(std::function<QList<double>(const QString &)> vectorFor);

    // The bodies of the requests to a path, in order.
    QList<QJsonObject> bodies(const QByteArray &path = "/api/chat") const;
    // The last message's text in a chat request body.
    static QString userMessage(const QJsonObject &chatBody);
};
