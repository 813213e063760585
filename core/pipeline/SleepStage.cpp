#include "SleepStage.h"

#include "Fmt.h"
#include "PlatformWords.h"

#include <QHashFunctions>

namespace {

SleepStage of(SleepStage::Kind kind)
{
    SleepStage stage;
    stage.kind = kind;
    return stage;
}

SleepStage progress(SleepStage::Kind kind, int done, int total)
{
    SleepStage stage = of(kind);
    stage.done = done;
    stage.total = total;
    return stage;
}

std::optional<double> share(double start, double width, int done, int total)
{
    if (total < 1)
        return std::nullopt;
    return start + width * double(done) / double(total);
}

} // namespace

SleepStage SleepStage::idle() { return of(Kind::idle); }
SleepStage SleepStage::reading() { return of(Kind::reading); }
SleepStage SleepStage::fetching(int done, int total) { return progress(Kind::fetching, done, total); }
SleepStage SleepStage::summarizing(int done, int total) { return progress(Kind::summarizing, done, total); }
SleepStage SleepStage::grouping() { return of(Kind::grouping); }
SleepStage SleepStage::closing() { return of(Kind::closing); }

SleepStage SleepStage::finished(const SleepStats &stats)
{
    SleepStage stage = of(Kind::done);
    stage.stats = stats;
    return stage;
}

SleepStage SleepStage::failed(const QString &message)
{
    SleepStage stage = of(Kind::failed);
    stage.message = message;
    return stage;
}

QString SleepStage::label() const
{
    switch (kind) {
    case Kind::idle:
        return {};
    case Kind::reading:
        return PlatformWords::readingStage();
    case Kind::fetching:
        return QStringLiteral("Speichere Seiteninhalte: ") + Fmt::number(done) + QStringLiteral(" von ")
            + Fmt::number(total);
    case Kind::summarizing:
        return QStringLiteral("Fasse zusammen: ") + Fmt::number(done) + QStringLiteral(" von ")
            + Fmt::number(total);
    case Kind::grouping:
        return QStringLiteral("Sortiere nach Thema …");
    case Kind::closing:
        return PlatformWords::closingStage();
    case Kind::done:
        return stats.sentence();
    case Kind::failed:
        return message;
    }
    return {};
}

std::optional<double> SleepStage::fraction() const
{
    switch (kind) {
    case Kind::fetching:
        return share(0.05, 0.45, done, total);
    case Kind::summarizing:
        return share(0.5, 0.35, done, total);
    case Kind::grouping:
        return 0.88;
    case Kind::closing:
        return 0.95;
    case Kind::done:
        return 1.0;
    case Kind::idle:
    case Kind::reading:
    case Kind::failed:
        break;
    }
    return std::nullopt;
}

bool SleepStage::isRunning() const
{
    switch (kind) {
    case Kind::reading:
    case Kind::fetching:
    case Kind::summarizing:
    case Kind::grouping:
    case Kind::closing:
        return true;
    case Kind::idle:
    case Kind::done:
    case Kind::failed:
        break;
    }
    return false;
}

size_t qHash(const SleepStage &stage, size_t seed)
{
    return qHashMulti(seed, int(stage.kind), stage.done, stage.total, stage.stats, stage.message);
}
