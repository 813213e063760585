#pragma once

#include <QString>

#include <memory>
#include <mutex>
#include <optional>

#include "LibraryData.h"
#include "ModelClient.h"
#include "ModelConfig.h"
#include "SemanticSource.h"

// Meaning-based vectors from the embedding model of the local model server.
// Its dimension is found once, by embedding a probe text; a text that later
// gets no vector (server gone, wrong length) is absent, and the embedder then
// leaves its semantic part at zeros.
class ServerEmbeddingSource : public SemanticSource
{
public:
    // Absent when no embedding model is configured or the server gives no
    // usable vector for the probe.
    static std::unique_ptr<ServerEmbeddingSource> create(const ModelConfig &config = ModelConfig::current());

    qsizetype dimension() const override { return m_dimension; }
    std::optional<Vector> vector(const QString &text) override;
    // "server:" + model name + "-" + dimension.
    QString identity() const override;

private:
    ServerEmbeddingSource(ModelConfig config, qsizetype dimension);

    ModelClient m_client;
    qsizetype m_dimension;
};
