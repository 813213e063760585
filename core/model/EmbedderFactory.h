#pragma once

#include <memory>

#include "ModelConfig.h"

class Embedder;

// The one embedder every process builds (the app, its self-test, every
// command of pellmora-cli and the MCP server): hashed words plus, when the
// settings or the environment name an embedding model the local server
// answers for, that model's vectors. Made in one place, so every process
// computes the same kind of vector and keeps the others' cached vectors.
namespace EmbedderFactory {

// Asks the server once for the model's dimension; fast when nothing listens.
std::shared_ptr<const Embedder> create(const ModelConfig &config = ModelConfig::current());

} // namespace EmbedderFactory
