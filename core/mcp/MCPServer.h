#pragma once
#include "Clock.h"
#include "LibraryStore.h"
#include <QJsonArray>
#include <QJsonObject>
#include <QString>
#include <functional>
#include <memory>
#include <optional>

class Embedder;
class SearchIndex;
struct SavedTab;
struct LibraryData;

// The MCP server: JSON-RPC 2.0, one message per line, with seven tools on
// the library file. Keeps no library state: every tool call reads the file.
class MCPServer
{
public:
    static inline const QString protocolVersion = QStringLiteral("2025-06-18");
    static inline const QString internalErrorLine = QStringLiteral(
        R"({"jsonrpc":"2.0","id":null,"error":{"code":-32603,"message":"Internal error"}})");

    // Makes the embedder at the first search (the callers' EmbedderFactory);
    // hashed words only when there is none.
    using EmbedderMaker = std::function<std::shared_ptr<const Embedder>()>;

    explicit MCPServer(LibraryStore store, const Clock &clock = Clock::system(), EmbedderMaker makeEmbedder = {});
    ~MCPServer();
    MCPServer(const MCPServer &) = delete;
    MCPServer &operator=(const MCPServer &) = delete;

    // Reads standard input until it ends, writing each reply at once.
    void run();
    // The reply line without its line end, or nothing when none is due.
    std::optional<QString> handle(const QString &line);
    QJsonObject callTool(const QString &name, const QJsonObject &arguments);

    static const QJsonArray &toolDefinitions();
    static QString claudeConfigSnippet(const QString &cliPath);
    // The pellmora-cli beside this executable, else the installed one.
    static QString defaultCliPath();

    // The summary of a tab that every tool returning tabs uses.
    static QJsonObject brief(const SavedTab &tab, const LibraryData &data);

private:
    QJsonObject search(const QJsonObject &arguments, const LibraryData &data);
    QJsonObject recent(const QJsonObject &arguments, const LibraryData &data) const;
    QJsonObject save(const LibraryData &data, const SavedTab &changed) const;

    LibraryStore m_store;
    const Clock &m_clock;
    EmbedderMaker m_makeEmbedder;
    std::shared_ptr<const Embedder> m_embedder; // made on the first search, then kept
    std::unique_ptr<SearchIndex> m_index;
};
