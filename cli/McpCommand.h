#pragma once
#include <QStringList>

// `pellmora-cli mcp`: the MCP server on standard input and output.
int runMcpCommand(const QStringList &args);
