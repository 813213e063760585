#include "FakeModelServer.h"

#include <QJsonArray>
#include <QJsonDocument>

FakeModelServer::FakeModelServer(const QString &model)
{
    route("/api/tags", json({{"models", QJsonArray{QJsonObject{{"name", model}}}}}));
    qputenv("PELLMORA_MODEL_URL", address(QStringLiteral("/")).toUtf8());
    qputenv("PELLMORA_MODEL", model.toUtf8());
}

FakeModelServer::~FakeModelServer()
{
    qunsetenv("PELLMORA_MODEL_URL");
    qunsetenv("PELLMORA_MODEL");
}

QHash<QString, QString> FakeModelServer::environment() const
{
    return {{QStringLiteral("PELLMORA_MODEL_URL"), address(QStringLiteral("/"))},
            {QStringLiteral("PELLMORA_MODEL"), qEnvironmentVariable("PELLMORA_MODEL")}};
}

LocalHttpServer::Response FakeModelServer::json(const QJsonObject &object, int status, int delayMs)
{
    Response response = page(QJsonDocument(object).toJson(QJsonDocument::Compact), "application/json", delayMs);
    response.status = status;
    return response;
}

LocalHttpServer::Response FakeModelServer::ollamaChat(const QString &content, int status, int delayMs)
{
    return json({{"model", "gemma"},
                 {"message", QJsonObject{{"role", "assistant"}, {"content", content}}},
                 {"done", true}},
                status, delayMs);
}

LocalHttpServer::Response FakeModelServer::ollamaChat(const QJsonObject &record, int status, int delayMs)
{
    return ollamaChat(QString::fromUtf8(QJsonDocument(record).toJson(QJsonDocument::Compact)), status, delayMs);
}

LocalHttpServer::Response FakeModelServer::openAIChat(const QString &content)
{
    return json({{"choices", QJsonArray{QJsonObject{{"message", QJsonObject{{"content", content}}}}}}});
}

void FakeModelServer::answerChat(const QJsonObject &record, int delayMs)
{
    route("/api/chat", ollamaChat(record, 200, delayMs));
}

void FakeModelServer::embedWith(std::function<QList<double>(const QString &)> vectorFor)
{
    setHandler([vectorFor = std::move(vectorFor)](const Request &request) {
        if (request.path != "/api/embed")
            return Response{404, {}, {}, 0};
        QJsonArray vectors;
        const QJsonArray inputs = QJsonDocument::fromJson(request.body).object().value("input").toArray();
        for (const QJsonValue &input : inputs) {
            QJsonArray vector;
            for (double x : vectorFor(input.toString()))
                vector.append(x);
            vectors.append(vector);
        }
        return json({{"embeddings", vectors}});
    });
}

QList<QJsonObject> FakeModelServer::bodies(const QByteArray &path) const
{
    QList<QJsonObject> out;
    for (const Request &request : requests()) {
        if (request.path == path)
            out.append(QJsonDocument::fromJson(request.body).object());
    }
    return out;
}

QString FakeModelServer::userMessage(const QJsonObject &chatBody)
{
    const QJsonArray messages = chatBody.value("messages").toArray();
    return messages.isEmpty() ? QString() : messages.last().toObject().value("content").toString();
}
