#include "ModelConfig.h"

#include <QHostAddress>
#include <QSettings>

namespace {

QString setting(QSettings &settings, const char *key, const char *envName)
{
    if (qEnvironmentVariableIsSet(envName))
        return qEnvironmentVariable(envName).trimmed();
    return settings.value(QLatin1String(key)).toString().trimmed();
}

} // namespace

ModelConfig ModelConfig::current()
{
    QSettings settings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
    ModelConfig config;
    const QString url = setting(settings, "modelServerURL", "PELLMORA_MODEL_URL");
    config.serverUrl = url.isEmpty() ? defaultServerUrl() : QUrl(url);
    config.modelName = setting(settings, "modelName", "PELLMORA_MODEL");
    config.embeddingModelName = setting(settings, "embeddingModelName", "PELLMORA_EMBED_MODEL");
    return config;
}

QUrl ModelConfig::defaultServerUrl()
{
    return QUrl(QStringLiteral("http://127.0.0.1:11434"));
}

bool ModelConfig::isLoopback(const QUrl &url)
{
    if (!url.isValid() || (url.scheme() != QLatin1String("http") && url.scheme() != QLatin1String("https")))
        return false;
    const QString host = url.host();
    if (host.compare(QLatin1String("localhost"), Qt::CaseInsensitive) == 0)
        return true;
    QHostAddress address;
    return address.setAddress(host) && address.isLoopback();
}
