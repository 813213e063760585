#include "ServerEmbeddingSource.h"

std::unique_ptr<ServerEmbeddingSource> ServerEmbeddingSource::create(const ModelConfig &config)
{
    if (config.embeddingModelName.isEmpty() || !ModelConfig::isLoopback(config.serverUrl))
        return nullptr;
    const Result<QList<Vector>> probe =
        ModelClient(config, std::chrono::seconds(3), std::chrono::seconds(10)).embed({QStringLiteral("Probe")});
    if (!probe || probe->size() != 1 || probe->first().isEmpty())
        return nullptr;
    return std::unique_ptr<ServerEmbeddingSource>(new ServerEmbeddingSource(config, probe->first().size()));
}

ServerEmbeddingSource::ServerEmbeddingSource(ModelConfig config, qsizetype dimension)
    : m_client(std::move(config), std::chrono::seconds(3), std::chrono::seconds(10)), m_dimension(dimension)
{
}

std::optional<Vector> ServerEmbeddingSource::vector(const QString &text)
{
    if (text.isEmpty())
        return std::nullopt;
    const Result<QList<Vector>> reply = m_client.embed({text});
    if (!reply || reply->size() != 1 || reply->first().size() != m_dimension)
        return std::nullopt;
    return reply->first();
}

QString ServerEmbeddingSource::identity() const
{
    return QLatin1String("server:") + m_client.config().embeddingModelName + QLatin1Char('-')
        + QString::number(m_dimension);
}
