#include "EmbedderFactory.h"

#include "Embedder.h"
#include "ServerEmbeddingSource.h"

namespace EmbedderFactory {

std::shared_ptr<const Embedder> create(const ModelConfig &config)
{
    // PELLMORA_NO_SEMANTIC keeps the server out of it altogether.
    if (qEnvironmentVariableIsSet("PELLMORA_NO_SEMANTIC"))
        return std::make_shared<const Embedder>(true);
    return std::make_shared<const Embedder>(true, ServerEmbeddingSource::create(config));
}

} // namespace EmbedderFactory
