#include "CliHome.h"

#include "LibraryStore.h"

CliHome::CliHome()
{
    m_env = {{QStringLiteral("XDG_DATA_HOME"), path(QStringLiteral("data"))},
             {QStringLiteral("XDG_CONFIG_HOME"), path(QStringLiteral("config"))},
             {QStringLiteral("PELLMORA_NO_AI"), QStringLiteral("1")},
             {QStringLiteral("PELLMORA_NO_SEMANTIC"), QStringLiteral("1")}};
}

bool CliHome::write(const LibraryData &data) const
{
    return LibraryStore(libraryPath()).save(data).ok();
}

LibraryData CliHome::library() const
{
    return LibraryStore(libraryPath()).load();
}

QByteArray CliHome::libraryBytes() const
{
    return TestSupport::readFile(libraryPath());
}

void CliHome::setEnv(const QHash<QString, QString> &variables)
{
    for (auto it = variables.cbegin(); it != variables.cend(); ++it)
        m_env.insert(it.key(), it.value());
}

TestSupport::ProcessResult CliHome::run(const QStringList &args, const QByteArray &input) const
{
    return TestSupport::run(program(), args, m_env, input);
}

QString CliHome::program()
{
    return qEnvironmentVariable("PELLMORA_CLI");
}
