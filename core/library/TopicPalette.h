#pragma once

#include <QString>
#include <QStringList>

// Colour keys handed to topics; the views map them to colours.
namespace TopicPalette {

// The twelve keys in the order they are handed out.
const QStringList &names();

// The colour key of the unsorted topic.
inline QString unsorted() { return QStringLiteral("grau"); }

} // namespace TopicPalette
