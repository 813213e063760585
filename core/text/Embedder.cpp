#include "Embedder.h"

#include <QSet>

#include <algorithm>
#include <cmath>

#include "SemanticSource.h"
#include "TextCut.h"
#include "TextTools.h"

Embedder::Embedder(bool allowSemantic, std::unique_ptr<SemanticSource> source)
    : m_semantic(QStringLiteral("none"))
{
    if (allowSemantic && source && !qEnvironmentVariableIsSet("PELLMORA_NO_SEMANTIC")
        && source->dimension() > 0) {
        m_source = std::move(source);
        m_semantic = m_source->identity();
        m_semanticDim = m_source->dimension();
    }
    m_kind = m_semantic + u'-' + QString::number(m_semanticDim) + QStringLiteral("+bow") + QString::number(hashDim);
}

Embedder::~Embedder() = default;

std::optional<Vector> Embedder::semanticVector(const QString &text) const
{
    if (!m_source)
        return std::nullopt;
    std::lock_guard guard(m_lock);
    return m_source->vector(text);
}

Vector Embedder::vector(const QString &text) const
{
    const QString cut = TextCut::prefix(text, textCut);
    Vector result;
    result.reserve(dimension());
    if (m_semanticDim > 0) {
        Vector semantic(m_semanticDim, 0.0f);
        if (const std::optional<Vector> made = semanticVector(cut); made && made->size() == m_semanticDim)
            semantic = normalized(*made);
        const bool any = std::any_of(semantic.cbegin(), semantic.cend(), [](float v) { return v != 0.0f; });
        // Without a semantic answer the words carry the whole weight.
        const float weight = any ? semWeight : 0.0f;
        for (float v : std::as_const(semantic))
            result.append(v * weight);
        const Vector words = normalized(hashedBagOfWords(cut));
        const float wordWeight = any ? bowWeight : 1.0f;
        for (float v : words)
            result.append(v * wordWeight);
    } else {
        result = normalized(hashedBagOfWords(cut));
    }
    return result;
}

void Embedder::ensureEmbeddings(LibraryData &data, std::stop_token stop) const
{
    if (data.embedderKind != m_kind) {
        data.embeddings.clear();
        data.embedderKind = m_kind;
    }
    QSet<QString> present;
    present.reserve(data.tabs.size());
    for (const SavedTab &tab : std::as_const(data.tabs))
        present.insert(idText(tab.id));
    for (auto it = data.embeddings.begin(); it != data.embeddings.end();) {
        if (present.contains(it.key()))
            ++it;
        else
            it = data.embeddings.erase(it);
    }
    for (const SavedTab &tab : std::as_const(data.tabs)) {
        if (stop.stop_requested())
            return;
        const QString key = idText(tab.id);
        if (!data.embeddings.contains(key))
            data.embeddings.insert(key, vector(tab.searchableText()));
    }
}

bool Embedder::hasEmbeddings(const LibraryData &data) const
{
    if (data.embedderKind != m_kind)
        return data.tabs.isEmpty();
    return std::all_of(data.tabs.cbegin(), data.tabs.cend(),
                       [&](const SavedTab &tab) { return data.embeddings.contains(idText(tab.id)); });
}

quint64 Embedder::fnv(const QString &text)
{
    quint64 hash = 0xCBF29CE484222325ull;
    const QByteArray bytes = text.toUtf8();
    for (const char byte : bytes) {
        hash ^= quint64(quint8(byte));
        hash *= 0x100000001B3ull;
    }
    return hash;
}

Vector Embedder::hashedBagOfWords(const QString &text)
{
    Vector bins(hashDim, 0.0f);
    for (const QString &word : TextTools::words(text)) {
        const quint64 h = fnv(TextTools::stem(word));
        bins[qsizetype(h % hashDim)] += (h & (quint64(1) << 32)) ? -1.0f : 1.0f;
    }
    for (float &v : bins) {
        if (v != 0.0f)
            v = std::copysign(std::log(std::fabs(v)) + 1.0f, v);
    }
    return bins;
}

Vector Embedder::normalized(Vector vector)
{
    float sum = 0.0f;
    for (float v : std::as_const(vector))
        sum += v * v;
    if (sum > 0.0f) {
        const float norm = std::sqrt(sum);
        for (float &v : vector)
            v /= norm;
    }
    return vector;
}

float Embedder::cosine(const Vector &a, const Vector &b)
{
    if (a.isEmpty() || a.size() != b.size())
        return 0.0f;
    // Eight running sums let the compiler use vector registers.
    constexpr qsizetype lanes = 8;
    float dot[lanes] = {};
    float sumA[lanes] = {};
    float sumB[lanes] = {};
    const float *x = a.constData();
    const float *y = b.constData();
    const qsizetype n = a.size();
    qsizetype i = 0;
    for (; i + lanes <= n; i += lanes) {
        for (qsizetype k = 0; k < lanes; ++k) {
            dot[k] += x[i + k] * y[i + k];
            sumA[k] += x[i + k] * x[i + k];
            sumB[k] += y[i + k] * y[i + k];
        }
    }
    for (; i < n; ++i) {
        dot[0] += x[i] * y[i];
        sumA[0] += x[i] * x[i];
        sumB[0] += y[i] * y[i];
    }
    float d = 0.0f;
    float sa = 0.0f;
    float sb = 0.0f;
    for (qsizetype k = 0; k < lanes; ++k) {
        d += dot[k];
        sa += sumA[k];
        sb += sumB[k];
    }
    if (!(sa > 0.0f) || !(sb > 0.0f))
        return 0.0f;
    return d / (std::sqrt(sa) * std::sqrt(sb));
}
