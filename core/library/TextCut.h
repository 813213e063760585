#pragma once

#include <QString>

// Counting and cutting text by user-perceived characters (grapheme clusters),
// the one unit every length limit in Pellmora uses.
namespace TextCut {

qsizetype length(const QString &text);
// The first `count` characters (all of the text when it is shorter).
QString prefix(const QString &text, qsizetype count);
// The code-unit position where character number `count` starts (text.size()
// when the text has fewer characters).
qsizetype offsetOf(const QString &text, qsizetype count);

} // namespace TextCut
