#pragma once

#include <QString>

#include <memory>
#include <mutex>
#include <optional>
#include <stop_token>

#include "LibraryData.h"

#include "SemanticSource.h"

// Turns text into vectors for cosine comparison: an optional semantic part
// followed by a hashed bag of words. Shared by reference; thread-safe.
class Embedder
{
public:
    static constexpr qsizetype hashDim = 256;
    static constexpr float semWeight = 0.7746f;
    static constexpr float bowWeight = 0.6325f;
    static constexpr qsizetype textCut = 1200;

    // The source is used only when allowed and PELLMORA_NO_SEMANTIC is unset.
    explicit Embedder(bool allowSemantic = true, std::unique_ptr<SemanticSource> source = {});
    ~Embedder();
    Embedder(const Embedder &) = delete;
    Embedder &operator=(const Embedder &) = delete;

    // "none" without a source, else the source's identity.
    const QString &semantic() const { return m_semantic; }
    qsizetype semanticDim() const { return m_semanticDim; }
    qsizetype dimension() const { return m_semanticDim + hashDim; }
    // Identifies the vector space, e.g. "none-0+bow256".
    const QString &kind() const { return m_kind; }

    // Always `dimension()` components.
    Vector vector(const QString &text) const;
    std::optional<Vector> semanticVector(const QString &text) const;

    // Adds vectors for tabs without one, drops those of removed tabs, and
    // starts over when the stored vectors come from another vector space.
    void ensureEmbeddings(LibraryData &data, std::stop_token stop = {}) const;
    // True when every tab has a stored vector of this embedder's kind.
    bool hasEmbeddings(const LibraryData &data) const;

    static quint64 fnv(const QString &text);
    static Vector hashedBagOfWords(const QString &text);
    static Vector normalized(Vector vector);
    static float cosine(const Vector &a, const Vector &b);

private:
    std::unique_ptr<SemanticSource> m_source;
    mutable std::mutex m_lock; // serialises every call into the source
    QString m_semantic;
    qsizetype m_semanticDim = 0;
    QString m_kind;
};
