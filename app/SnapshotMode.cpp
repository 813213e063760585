#include "SnapshotMode.h"

#include <QDir>
#include <QQuickView>
#include <QSaveFile>
#include <QSettings>
#include <QtConcurrent/QtConcurrentRun>

#include <stop_token>

#include "AppModel.h"
#include "Clock.h"
#include "ContextReader.h"
#include "DemoData.h"
#include "Embedder.h"
#include "HintEngine.h"
#include "Library.h"
#include "SelfTestSession.h"
#include "SelfTestSupport.h"
#include "SleepPipeline.h"
#include "TopicClusterer.h"
#include "ViewShot.h"

namespace SnapshotMode {

namespace {

const QString kTag = QStringLiteral("snapshot");

struct Project
{
    QString folder;
    QString text;
};

QList<Project> projects()
{
    return {
        {QStringLiteral("Lisbon trip"),
         QStringLiteral("# Lisbon trip\nTwo weeks in Lisbon in May: flights, hotel in Alfama, tram 28, day "
                        "trip to Sintra, restaurants.")},
        {QStringLiteral("Home office"),
         QStringLiteral("# Home office\nNew desk, monitor, chair, keyboard and lighting for working from home.")},
    };
}

// The demo library with its topics and hints, made off the main thread while
// the event loop keeps running; without topics when they take too long.
LibraryData demoLibrary(const std::shared_ptr<const Embedder> &embedder, const QString &projectsFolder)
{
    LibraryData data = DemoData::library(Clock::system().now());
    data.context.folderPaths = {projectsFolder};
    data.context.freeText = DemoData::contextFreeText();

    std::stop_source stop;
    QFuture<LibraryData> grouped = QtConcurrent::run([data, embedder, token = stop.get_token()]() mutable {
        TopicClusterer(embedder, SleepPipeline::minSimilarity, SleepPipeline::outlierSimilarity,
                       SleepPipeline::mergeFloor)
            .cluster(data, true, token);
        return data;
    });
    if (!SelfTestSupport::waitWhile([&] { return !grouped.isFinished(); }, kTopicLimitMs)) {
        SelfTestSupport::printLine(kTag, QStringLiteral("Themen nicht rechtzeitig gebildet"));
        stop.request_stop();
    }
    grouped.waitForFinished();
    if (!stop.stop_requested())
        data = grouped.result();

    HintEngine(*embedder, kHintThreshold)
        .generateHints(data, ContextReader::projectsFor(data.context), data.context.hintsPerDay);
    return data;
}

bool takeShot(const ViewShot &shooter, const Shot &shot, const QString &outputFolder)
{
    QString error;
    const std::unique_ptr<QQuickView> view = shooter.build(shot.view, shot.points, &error);
    if (!view) {
        SelfTestSupport::printLine(kTag, error);
        return false;
    }
    const QSize points = view->size();
    const QImage image = ViewShot::render(*view);
    const QString path = QDir(outputFolder).filePath(shot.file);
    // One colour all over is a frame that never rendered.
    if (ViewShot::distinctColours(image, 2) < 2) {
        SelfTestSupport::printLine(kTag, QStringLiteral("Bild leer: ") + shot.file);
        return false;
    }
    if (!ViewShot::writePng(image, points, SelfTestSupport::kShotScale, path)) {
        SelfTestSupport::printLine(kTag, QStringLiteral("Bild nicht geschrieben: ") + path);
        return false;
    }
    SelfTestSupport::printLine(kTag, shot.file + QLatin1Char(' ') + QString::number(points.width())
                                         + QStringLiteral("×") + QString::number(points.height())
                                         + QStringLiteral(" pt"));
    return true;
}

} // namespace

const QList<Shot> &shots()
{
    static const QList<Shot> list = {
        {QStringLiteral("01_bibliothek.png"), QStringLiteral("LibraryView.qml"), QSize(1180, 720)},
        {QStringLiteral("02_chat.png"), QStringLiteral("ChatView.qml"), QSize(820, 760)},
        {QStringLiteral("03_notiz.png"), QStringLiteral("TabDetailView.qml"), QSize()},
        {QStringLiteral("04_kontext.png"), QStringLiteral("ContextView.qml"), QSize()},
        {QStringLiteral("05_menue.png"), QStringLiteral("PopoverView.qml"), QSize()},
    };
    return list;
}

QString chatQuestion()
{
    return QStringLiteral("For my Lisbon trip: which of my saved tabs about hotels and day trips should I still read?");
}

QString sampleDomain()
{
    return QStringLiteral("booking.com");
}

bool writeProjects(const QString &projectsFolder, QString *error)
{
    for (const Project &project : projects()) {
        const QDir folder(QDir(projectsFolder).filePath(project.folder));
        QSaveFile file(folder.filePath(QStringLiteral("CLAUDE.md")));
        const QByteArray bytes = project.text.toUtf8();
        if (!folder.mkpath(QStringLiteral(".")) || !file.open(QIODevice::WriteOnly)
            || file.write(bytes) != bytes.size() || !file.commit()) {
            if (error)
                *error = QStringLiteral("Projekt nicht geschrieben: ") + folder.path();
            return false;
        }
    }
    return true;
}

int run(const QString &outputFolder)
{
    if (!QDir().mkpath(outputFolder)) {
        SelfTestSupport::printLine(kTag, QStringLiteral("Ordner nicht angelegt: ") + outputFolder);
        return 1;
    }
    Result<std::unique_ptr<SelfTestSession>> created = SelfTestSession::create(QStringLiteral("pellmora-snapshot-"));
    if (!created) {
        SelfTestSupport::printLine(kTag, created.error());
        return 1;
    }
    std::unique_ptr<SelfTestSession> session = std::move(created).value();
    const QString projectsFolder = QDir(session->folder()).filePath(QStringLiteral("Projects"));
    QString error;
    if (!writeProjects(projectsFolder, &error)) {
        SelfTestSupport::printLine(kTag, error);
        return 1;
    }
    QSettings().remove(QStringLiteral("sleepOptions"));

    AppModel &model = session->model();
    session->library().replace(demoLibrary(session->embedder(), projectsFolder));

    std::optional<SavedTab> sample;
    for (const SavedTab &tab : session->library().data().tabs) {
        if (tab.url.contains(sampleDomain())) {
            sample = tab;
            break;
        }
    }
    if (sample && sample->topicId)
        model.setSelection(SidebarSelection::topic(*sample->topicId));

    const ViewShot shooter(&session->engine());
    bool written = true;
    for (const Shot &shot : shots()) {
        if (shot.file == QStringLiteral("02_chat.png")) {
            model.ask(chatQuestion());
            SelfTestSupport::waitWhile([&] { return model.chatBusy(); }, kChatLimitMs);
        }
        if (shot.file == QStringLiteral("03_notiz.png") && sample)
            model.setDetailTab(sample);
        written = takeShot(shooter, shot, outputFolder) && written;
        model.setDetailTab(std::nullopt);
    }

    if (!session->close())
        SelfTestSupport::printLine(kTag, QStringLiteral("Sandbox nicht entfernt: ") + session->folder());
    SelfTestSupport::printLine(kTag, QStringLiteral("5 Bilder in ") + outputFolder);
    return written ? 0 : 1;
}

} // namespace SnapshotMode
