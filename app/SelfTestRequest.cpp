#include "SelfTestRequest.h"

#include <QDir>

SelfTestRequest SelfTestRequest::fromArguments(const QStringList &arguments)
{
    SelfTestRequest request;
    const QStringList args = arguments.mid(1);
    request.sleepTest = args.contains(QStringLiteral("--sleeptest"));
    const qsizetype at = args.indexOf(QStringLiteral("--snapshot"));
    if (at < 0)
        return request;
    request.snapshot = true;
    QString folder = at + 1 < args.size() ? args.at(at + 1) : QString();
    // The next option is not a folder.
    if (folder.startsWith(QStringLiteral("--")))
        folder.clear();
    if (folder == QStringLiteral("~"))
        folder = QDir::homePath();
    else if (folder.startsWith(QStringLiteral("~/")))
        folder = QDir::homePath() + folder.mid(1);
    if (folder.isEmpty())
        folder = QDir(QDir::tempPath()).filePath(QStringLiteral("pellmora-shots"));
    request.snapshotFolder = folder;
    return request;
}
