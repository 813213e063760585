#include "AssistantConfig.h"

#include <QClipboard>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QStandardPaths>

#include "MCPServer.h"

namespace AssistantConfig {

namespace {

const QString cliName = QStringLiteral("pellmora-cli");

bool isProgram(const QString &path)
{
    const QFileInfo info(path);
    return info.isFile() && info.isExecutable();
}

} // namespace

QString cliPath(const QString &programFolder, const QString &searchPath)
{
    if (!programFolder.isEmpty()) {
        const QDir folder(programFolder);
        for (const QString &candidate : {folder.filePath(cliName), folder.filePath(QStringLiteral("../cli/") + cliName)}) {
            if (isProgram(candidate))
                return QDir::cleanPath(QFileInfo(candidate).absoluteFilePath());
        }
    }
    const QStringList folders = searchPath.split(QDir::listSeparator(), Qt::SkipEmptyParts);
    if (!folders.isEmpty()) {
        const QString found = QStandardPaths::findExecutable(cliName, folders);
        if (!found.isEmpty())
            return found;
    }
    return QStringLiteral("/usr/bin/") + cliName;
}

QString cliPath()
{
    const QString folder = QCoreApplication::instance() ? QCoreApplication::applicationDirPath() : QString();
    return cliPath(folder, qEnvironmentVariable("PATH"));
}

QString snippet()
{
    return MCPServer::claudeConfigSnippet(cliPath());
}

void copyToClipboard(const QString &text)
{
    if (auto *app = qobject_cast<QGuiApplication *>(QCoreApplication::instance()))
        app->clipboard()->setText(text, QClipboard::Clipboard);
}

} // namespace AssistantConfig
