#include "SettingsPresenter.h"

#include <QSettings>
#include <QtConcurrent>

#include "AIStatus.h"
#include "AppModel.h"
#include "AssistantConfig.h"
#include "Embedder.h"
#include "BrowserBridge.h"
#include "Library.h"
#include "ModelConfig.h"
#include "PlatformWords.h"

namespace {

// The keys ModelConfig reads.
const QString serverUrlKey = QStringLiteral("modelServerURL");
const QString modelNameKey = QStringLiteral("modelName");
const QString embeddingModelNameKey = QStringLiteral("embeddingModelName");

} // namespace

SettingsPresenter::SettingsPresenter(QObject *parent)
    : QObject(parent)
{
    m_browserPoll.setInterval(3000);
    connect(&m_browserPoll, &QTimer::timeout, this, &SettingsPresenter::refreshBrowsers);
    m_browserPoll.start();
}

SettingsPresenter::~SettingsPresenter()
{
    // The status question may still be out; its answer is dropped.
    if (m_aiWatcher)
        m_aiWatcher->disconnect(this);
}

void SettingsPresenter::setModel(AppModel *model)
{
    if (m_model == model)
        return;
    m_model = model;
    Q_EMIT modelChanged();
    refresh();
}

QString SettingsPresenter::libraryPath() const
{
    return m_model ? m_model->library().store().filePath() : QString();
}

QString SettingsPresenter::searchLine() const
{
    const bool semantic = m_model && m_model->embedder() && m_model->embedder()->semanticDim() > 0;
    return QStringLiteral("Suche nach Bedeutung: ")
        + PlatformWords::searchSource(semantic, ModelConfig::current().embeddingModelName);
}

QString SettingsPresenter::configSnippet() const
{
    return AssistantConfig::snippet();
}

QString SettingsPresenter::serverUrl() const
{
    return ModelConfig::current().serverUrl.toString();
}

QString SettingsPresenter::modelName() const
{
    return ModelConfig::current().modelName;
}

QString SettingsPresenter::embeddingModelName() const
{
    return ModelConfig::current().embeddingModelName;
}

QStringList SettingsPresenter::pinnedDomainsFrom(const QString &text)
{
    QStringList domains;
    for (QStringView line : QStringView(text).split(u'\n')) {
        qsizetype start = 0;
        qsizetype end = line.size();
        const auto blank = [](QChar c) { return c == u' ' || c == u'\t' || c == u'\r'; };
        while (start < end && blank(line.at(start)))
            ++start;
        while (end > start && blank(line.at(end - 1)))
            --end;
        if (end > start)
            domains << line.mid(start, end - start).toString();
    }
    return domains;
}

QString SettingsPresenter::pinnedText() const
{
    return m_model ? m_model->options().pinnedDomains.join(u'\n') : QString();
}

void SettingsPresenter::setPinnedText(const QString &text)
{
    if (!m_model)
        return;
    SleepOptions options = m_model->options();
    options.pinnedDomains = pinnedDomainsFrom(text);
    m_model->setOptions(options);
}

QString SettingsPresenter::saveServerSettings(const QString &url, const QString &model, const QString &embeddingModel)
{
    const QString address = url.trimmed();
    if (!address.isEmpty() && !ModelConfig::isLoopback(QUrl(address)))
        return QStringLiteral("Nur Adressen auf diesem Rechner sind erlaubt, zum Beispiel http://127.0.0.1:11434.");
    QSettings settings(QStringLiteral("Pellmora"), QStringLiteral("Pellmora"));
    settings.setValue(serverUrlKey, address);
    settings.setValue(modelNameKey, model.trimmed());
    settings.setValue(embeddingModelNameKey, embeddingModel.trimmed());
    settings.sync();
    Q_EMIT serverSettingsChanged();
    refresh();
    return {};
}

void SettingsPresenter::refresh()
{
    refreshBrowsers();
    if (m_aiWatcher) {
        // One question at a time; ask again when this one is answered.
        m_aiAgain = true;
        return;
    }
    m_aiWatcher = new QFutureWatcher<QString>(this);
    connect(m_aiWatcher, &QFutureWatcherBase::finished, this, [this] {
        const QString description = m_aiWatcher->result();
        m_aiWatcher->deleteLater();
        m_aiWatcher = nullptr;
        if (description != m_aiDescription) {
            m_aiDescription = description;
            Q_EMIT aiDescriptionChanged();
        }
        if (std::exchange(m_aiAgain, false))
            refresh();
    });
    // The status asks the model server, which may take a moment.
    m_aiWatcher->setFuture(QtConcurrent::run([] { return AIStatus::description(); }));
}

void SettingsPresenter::refreshBrowsers()
{
    QStringList names;
    if (m_model) {
        for (const ConnectedBrowser &browser : m_model->bridge().connectedBrowsers())
            names << PlatformWords::browserName(browser.browser);
    }
    const QString line = browsersLineFor(names);
    if (line == m_browsersLine)
        return;
    m_browsersLine = line;
    Q_EMIT browsersChanged();
}

QString SettingsPresenter::browsersLineFor(const QStringList &browserNames)
{
    if (browserNames.isEmpty())
        return QStringLiteral("Kein Browser verbunden. Lade die Pellmora-Erweiterung in Chromium oder Firefox.");
    return QStringLiteral("Verbunden: ") + browserNames.join(QStringLiteral(", "));
}

void SettingsPresenter::copyConfig()
{
    AssistantConfig::copyToClipboard(configSnippet());
}
