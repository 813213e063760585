#include "ModelClient.h"

#include <QEventLoop>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QLoggingCategory>
#include <QMutex>
#include <QNetworkAccessManager>
#include <QNetworkProxy>
#include <QNetworkReply>
#include <QNetworkRequest>

#include <mutex>

Q_LOGGING_CATEGORY(lcModel, "pellmora.model")

namespace {

QMutex apiMutex;
QHash<QString, ModelClient::Api> &rememberedApis()
{
    static QHash<QString, ModelClient::Api> apis;
    return apis;
}

QString serverKey(const QUrl &url)
{
    return url.adjusted(QUrl::StripTrailingSlash).toString();
}

QByteArray compact(const QJsonObject &object)
{
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

QJsonObject parseObject(const QByteArray &bytes)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    return error.error == QJsonParseError::NoError && document.isObject() ? document.object() : QJsonObject();
}

// Models sometimes wrap their JSON in prose or code fences; take the
// outermost braces when the whole text does not parse.
std::optional<QJsonObject> objectInContent(const QString &content)
{
    const QByteArray bytes = content.trimmed().toUtf8();
    QJsonParseError error;
    QJsonDocument document = QJsonDocument::fromJson(bytes, &error);
    if (error.error != QJsonParseError::NoError) {
        const qsizetype open = bytes.indexOf('{');
        const qsizetype close = bytes.lastIndexOf('}');
        if (open < 0 || close <= open)
            return std::nullopt;
        document = QJsonDocument::fromJson(bytes.mid(open, close - open + 1), &error);
    }
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return std::nullopt;
    return document.object();
}

bool listsModel(const QJsonArray &entries, const QStringList &keys, const QString &name)
{
    const QString latest = name + QLatin1String(":latest");
    for (const QJsonValue &entry : entries) {
        const QJsonObject object = entry.toObject();
        for (const QString &key : keys) {
            const QString listed = object.value(key).toString();
            if (!listed.isEmpty() && (listed == name || listed == latest))
                return true;
        }
    }
    return false;
}

QJsonArray messages(const QString &instructions, const QString &user)
{
    return QJsonArray{QJsonObject{{QStringLiteral("role"), QStringLiteral("system")},
                                  {QStringLiteral("content"), instructions}},
                      QJsonObject{{QStringLiteral("role"), QStringLiteral("user")},
                                  {QStringLiteral("content"), user}}};
}

std::optional<Vector> toVector(const QJsonValue &value)
{
    if (!value.isArray())
        return std::nullopt;
    Vector vector;
    const QJsonArray array = value.toArray();
    vector.reserve(array.size());
    for (const QJsonValue &component : array) {
        if (!component.isDouble())
            return std::nullopt;
        vector.append(float(component.toDouble()));
    }
    return vector;
}

const QString unreachable = QStringLiteral("Das Sprachmodell ist nicht erreichbar.");
const QString unusable = QStringLiteral("Die Antwort des Sprachmodells ist unbrauchbar.");

} // namespace

ModelClient::ModelClient(ModelConfig config, std::chrono::milliseconds probeLimit,
                         std::chrono::milliseconds requestLimit)
    : m_config(std::move(config)), m_probeLimit(probeLimit), m_requestLimit(requestLimit)
{
}

ModelClient::Api ModelClient::api() const
{
    QMutexLocker locker(&apiMutex);
    return rememberedApis().value(serverKey(m_config.serverUrl), Api::unknown);
}

void ModelClient::forgetApis()
{
    QMutexLocker locker(&apiMutex);
    rememberedApis().clear();
}

void ModelClient::remember(Api api) const
{
    QMutexLocker locker(&apiMutex);
    rememberedApis().insert(serverKey(m_config.serverUrl), api);
}

QString ModelClient::promptWithSchema(const QString &prompt, const ModelSchema &schema)
{
    return prompt + QLatin1String("\n\nAntworte nur mit einem JSON-Objekt nach diesem Schema:\n")
        + QString::fromUtf8(compact(schema.toJson()));
}

ModelClient::Reply ModelClient::send(const QString &path, const QByteArray *body,
                                     std::chrono::milliseconds limit, std::stop_token stop) const
{
    Reply reply;
    if (stop.stop_requested() || !ModelConfig::isLoopback(m_config.serverUrl))
        return reply;

    QUrl url = m_config.serverUrl;
    QString base = url.path();
    while (base.endsWith(QLatin1Char('/')))
        base.chop(1);
    url.setPath(base + path);

    QNetworkAccessManager manager;
    // A proxy from the environment must never see these requests.
    manager.setProxy(QNetworkProxy::NoProxy);
    QNetworkRequest request(url);
    request.setTransferTimeout(int(std::max<qint64>(1, limit.count())));
    request.setAttribute(QNetworkRequest::RedirectPolicyAttribute, QNetworkRequest::ManualRedirectPolicy);
    QNetworkReply *network = nullptr;
    if (body) {
        request.setHeader(QNetworkRequest::ContentTypeHeader, QByteArrayLiteral("application/json"));
        network = manager.post(request, *body);
    } else {
        network = manager.get(request);
    }

    QEventLoop loop;
    QObject::connect(network, &QNetworkReply::finished, &loop, &QEventLoop::quit);
    {
        std::stop_callback onStop(stop, [network] {
            QMetaObject::invokeMethod(network, &QNetworkReply::abort, Qt::QueuedConnection);
        });
        if (!network->isFinished())
            loop.exec();
    }

    const QVariant status = network->attribute(QNetworkRequest::HttpStatusCodeAttribute);
    if (status.isValid() && !stop.stop_requested()) {
        reply.reached = true;
        reply.status = status.toInt();
        reply.body = network->readAll();
    } else {
        qCDebug(lcModel) << "model server request failed:" << url.path() << network->errorString();
    }
    delete network;
    return reply;
}

AIStatus::Availability ModelClient::availability(std::stop_token stop) const
{
    using AIStatus::Availability;
    if (m_config.modelName.isEmpty())
        return Availability::notEnabled;
    if (!ModelConfig::isLoopback(m_config.serverUrl))
        return Availability::otherReason;

    const Api known = api();
    if (known != Api::openAI) {
        const Reply tags = send(QStringLiteral("/api/tags"), nullptr, m_probeLimit, stop);
        if (!tags.reached)
            return Availability::otherReason;
        if (tags.status == 200) {
            remember(Api::ollama);
            const QJsonArray models = parseObject(tags.body).value(QStringLiteral("models")).toArray();
            return listsModel(models, {QStringLiteral("name"), QStringLiteral("model")}, m_config.modelName)
                ? Availability::available
                : Availability::modelNotReady;
        }
        if (tags.status != 404)
            return tags.status == 503 ? Availability::modelNotReady : Availability::otherReason;
    }

    const Reply models = send(QStringLiteral("/v1/models"), nullptr, m_probeLimit, stop);
    if (!models.reached)
        return Availability::otherReason;
    if (models.status == 200) {
        remember(Api::openAI);
        const QJsonArray data = parseObject(models.body).value(QStringLiteral("data")).toArray();
        return listsModel(data, {QStringLiteral("id")}, m_config.modelName) ? Availability::available
                                                                            : Availability::modelNotReady;
    }
    // llama.cpp's server answers 503 while it loads its model.
    return models.status == 503 ? Availability::modelNotReady : Availability::otherReason;
}

Result<QJsonObject> ModelClient::generate(const QString &instructions, const QString &prompt,
                                          const ModelSchema &schema, std::stop_token stop) const
{
    if (m_config.modelName.isEmpty() || !ModelConfig::isLoopback(m_config.serverUrl))
        return Result<QJsonObject>::failure(unreachable);

    const QJsonObject format = schema.toJson();
    const QJsonArray conversation = messages(instructions, promptWithSchema(prompt, schema));
    std::optional<QString> content;

    if (api() != Api::openAI) {
        const QByteArray body = compact(QJsonObject{{QStringLiteral("model"), m_config.modelName},
                                                    {QStringLiteral("messages"), conversation},
                                                    {QStringLiteral("format"), format},
                                                    {QStringLiteral("stream"), false}});
        const Reply reply = send(QStringLiteral("/api/chat"), &body, m_requestLimit, stop);
        if (!reply.reached)
            return Result<QJsonObject>::failure(unreachable);
        if (reply.status != 404) {
            remember(Api::ollama);
            if (reply.status != 200)
                return Result<QJsonObject>::failure(unusable);
            const QJsonValue message = parseObject(reply.body).value(QStringLiteral("message"));
            content = message.toObject().value(QStringLiteral("content")).toString();
        }
    }

    if (!content) {
        const QJsonObject responseFormat{
            {QStringLiteral("type"), QStringLiteral("json_schema")},
            {QStringLiteral("json_schema"), QJsonObject{{QStringLiteral("name"), QStringLiteral("antwort")},
                                                        {QStringLiteral("strict"), true},
                                                        {QStringLiteral("schema"), format}}}};
        const QByteArray body = compact(QJsonObject{{QStringLiteral("model"), m_config.modelName},
                                                    {QStringLiteral("messages"), conversation},
                                                    {QStringLiteral("response_format"), responseFormat},
                                                    {QStringLiteral("stream"), false}});
        const Reply reply = send(QStringLiteral("/v1/chat/completions"), &body, m_requestLimit, stop);
        if (!reply.reached)
            return Result<QJsonObject>::failure(unreachable);
        if (reply.status == 404)
            return Result<QJsonObject>::failure(unreachable);
        remember(Api::openAI);
        if (reply.status != 200)
            return Result<QJsonObject>::failure(unusable);
        const QJsonArray choices = parseObject(reply.body).value(QStringLiteral("choices")).toArray();
        content = choices.first().toObject().value(QStringLiteral("message")).toObject()
                      .value(QStringLiteral("content")).toString();
    }

    const std::optional<QJsonObject> object = objectInContent(*content);
    if (!object || !schema.accepts(*object))
        return Result<QJsonObject>::failure(unusable);
    return *object;
}

Result<QList<Vector>> ModelClient::embed(const QStringList &texts, std::stop_token stop) const
{
    const QString model = m_config.embeddingModelName;
    if (model.isEmpty() || !ModelConfig::isLoopback(m_config.serverUrl))
        return Result<QList<Vector>>::failure(unreachable);
    const QJsonArray input = QJsonArray::fromStringList(texts);
    const QByteArray body = compact(QJsonObject{{QStringLiteral("model"), model}, {QStringLiteral("input"), input}});

    QJsonArray vectors;
    bool found = false;
    if (api() != Api::openAI) {
        const Reply reply = send(QStringLiteral("/api/embed"), &body, m_requestLimit, stop);
        if (!reply.reached)
            return Result<QList<Vector>>::failure(unreachable);
        if (reply.status != 404) {
            if (reply.status != 200)
                return Result<QList<Vector>>::failure(unusable);
            vectors = parseObject(reply.body).value(QStringLiteral("embeddings")).toArray();
            found = true;
        }
    }
    if (!found) {
        const Reply reply = send(QStringLiteral("/v1/embeddings"), &body, m_requestLimit, stop);
        if (!reply.reached || reply.status == 404)
            return Result<QList<Vector>>::failure(unreachable);
        if (reply.status != 200)
            return Result<QList<Vector>>::failure(unusable);
        const QJsonArray data = parseObject(reply.body).value(QStringLiteral("data")).toArray();
        for (const QJsonValue &entry : data)
            vectors.append(entry.toObject().value(QStringLiteral("embedding")));
    }

    if (vectors.size() != texts.size())
        return Result<QList<Vector>>::failure(unusable);
    QList<Vector> result;
    result.reserve(vectors.size());
    for (const QJsonValue &value : std::as_const(vectors)) {
        std::optional<Vector> vector = toVector(value);
        if (!vector)
            return Result<QList<Vector>>::failure(unusable);
        result.append(std::move(*vector));
    }
    return result;
}
