#pragma once

#include <QString>
#include <QUrl>

// Where the local model server is and which models to ask. Read anew at each
// use so that a change in the settings takes effect without a restart.
struct ModelConfig
{
    QUrl serverUrl;
    QString modelName;          // empty: the model is switched off
    QString embeddingModelName; // empty: no vectors from the server

    // The settings, each overridden by its environment variable when set.
    static ModelConfig current();
    static QUrl defaultServerUrl();
    // Only the loopback interface is accepted, so nothing leaves the machine.
    static bool isLoopback(const QUrl &url);

    friend bool operator==(const ModelConfig &, const ModelConfig &) = default;
};
