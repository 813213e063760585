#include "SleepOptions.h"

#include <QHashFunctions>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonParseError>
#include <QJsonValue>

namespace {

const QString kGroupByWindow = QStringLiteral("groupByWindow");
const QString kSortByTopic = QStringLiteral("sortByTopic");
const QString kSaveContent = QStringLiteral("saveContent");
const QString kKeepPinned = QStringLiteral("keepPinned");
const QString kPinnedDomains = QStringLiteral("pinnedDomains");

} // namespace

QJsonObject SleepOptions::toJson() const
{
    QJsonObject object;
    object.insert(kGroupByWindow, groupByWindow);
    object.insert(kSortByTopic, sortByTopic);
    object.insert(kSaveContent, saveContent);
    object.insert(kKeepPinned, keepPinned);
    object.insert(kPinnedDomains, QJsonArray::fromStringList(pinnedDomains));
    return object;
}

QByteArray SleepOptions::encode() const
{
    return QJsonDocument(toJson()).toJson(QJsonDocument::Compact);
}

Result<SleepOptions> SleepOptions::fromJson(const QJsonObject &object)
{
    SleepOptions options;
    const std::pair<const QString &, bool *> flags[] = {
        {kGroupByWindow, &options.groupByWindow},
        {kSortByTopic, &options.sortByTopic},
        {kSaveContent, &options.saveContent},
        {kKeepPinned, &options.keepPinned},
    };
    for (const auto &[key, field] : flags) {
        const QJsonValue value = object.value(key);
        if (!value.isBool())
            return Result<SleepOptions>::failure(QStringLiteral("Einstellung fehlt oder ist ungültig: ") + key);
        *field = value.toBool();
    }
    const QJsonValue domains = object.value(kPinnedDomains);
    if (!domains.isArray())
        return Result<SleepOptions>::failure(QStringLiteral("Einstellung fehlt oder ist ungültig: ")
                                             + kPinnedDomains);
    for (const QJsonValue &domain : domains.toArray()) {
        if (!domain.isString())
            return Result<SleepOptions>::failure(QStringLiteral("Einstellung fehlt oder ist ungültig: ")
                                                 + kPinnedDomains);
        options.pinnedDomains.append(domain.toString());
    }
    return options;
}

Result<SleepOptions> SleepOptions::decode(const QByteArray &json)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject())
        return Result<SleepOptions>::failure(QStringLiteral("Die Einstellungen sind kein JSON-Objekt."));
    return fromJson(document.object());
}

size_t qHash(const SleepOptions &options, size_t seed)
{
    return qHashMulti(seed, options.groupByWindow, options.sortByTopic, options.saveContent, options.keepPinned,
                      options.pinnedDomains);
}

SleepOptions SleepOptions::fromSettings(const QVariant &stored)
{
    if (!stored.isValid())
        return {};
    Result<SleepOptions> decoded = decode(stored.toByteArray());
    return decoded ? std::move(decoded).value() : SleepOptions{};
}
