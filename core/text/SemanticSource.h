#pragma once

#include <QString>

#include <optional>

#include "LibraryData.h"

// A provider of meaning-based text vectors (a local model, say). The embedder
// puts its answers in front of the bag-of-words part.
class SemanticSource
{
public:
    virtual ~SemanticSource() = default;

    // Fixed for the life of the source.
    virtual qsizetype dimension() const = 0;
    // Absent when no vector can be made for this text.
    virtual std::optional<Vector> vector(const QString &text) = 0;
    // Names the vector space; it becomes the first part of the embedder's kind.
    virtual QString identity() const = 0;
};
