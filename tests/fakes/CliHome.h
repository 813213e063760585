#pragma once

#include "LibraryData.h"
#include "TestSupport.h"

#include <QByteArray>
#include <QHash>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

// A private home for runs of pellmora-cli (the path in PELLMORA_CLI): its own
// data and config folders, the model and meaning switched off unless the test
// says otherwise, and the library file there to prepare and read back.
class CliHome
{
public:
    CliHome();

    bool isValid() const { return m_dir.isValid(); }
    QString path(const QString &name) const { return m_dir.filePath(name); }
    QString libraryPath() const { return path(QStringLiteral("data/Pellmora/library.json")); }

    // Saves the library where the CLI reads it.
    bool write(const LibraryData &data) const;
    LibraryData library() const;
    QByteArray libraryBytes() const;

    // Sets a variable for every later run; an empty value removes it.
    void setEnv(const QString &name, const QString &value) { m_env.insert(name, value); }
    void setEnv(const QHash<QString, QString> &variables);

    TestSupport::ProcessResult run(const QStringList &args, const QByteArray &input = {}) const;
    static QString program();

private:
    QTemporaryDir m_dir;
    QHash<QString, QString> m_env;
};
