#pragma once

#include <QString>

// The block that connects an AI assistant to pellmora-cli over MCP, as the
// context and settings windows show and copy it.
namespace AssistantConfig {

// pellmora-cli beside the program, then in the build tree next to it
// (app/ and cli/ are siblings), then on the search path; else where a
// package installs it.
QString cliPath(const QString &programFolder, const QString &searchPath);
// For the running program and the environment's PATH.
QString cliPath();
QString snippet();
// Replaces the clipboard's contents with the text.
void copyToClipboard(const QString &text);

} // namespace AssistantConfig
