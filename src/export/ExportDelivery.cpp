#include "export/ExportDelivery.h"

#include "analysis/LoudnessAnalyzer.h"
#include "io/AudioTags.h"

#include <QDir>
#include <cmath>
#include <optional>

namespace ExportDelivery {

namespace {

struct Attempt {
    TemporaryFile file;
    double loudnessLUFS;
};

Attempt measured(TemporaryFile file) {
    const double loudness = LoudnessAnalyzer::analyze(file.path()).peakLUFS;
    return {std::move(file), loudness};
}

Attempt closestToPromise(double promised, const Encode& encode) {
    std::optional<Attempt> best;
    best.emplace(measured(encode(0.0)));
    double extra = 0.0;
    double last = best->loudnessLUFS;
    for (int raise = 0; raise < maximumRaises && std::abs(promised - best->loudnessLUFS) > toleranceLU; ++raise) {
        // The limiter takes back part of every raise, so each try raises by
        // what the one before still fell short.
        extra += promised - last;
        Attempt next = measured(encode(extra));
        last = next.loudnessLUFS;
        if (std::abs(promised - next.loudnessLUFS) < std::abs(promised - best->loudnessLUFS)) {
            best.reset();
            best.emplace(std::move(next));
        }
    }
    return std::move(*best);
}

} // namespace

ExportedFile deliver(const ExportJob& job, bool limiterActs, const Encode& encode) {
    ExportedFile result{job.sourcePath, QString(), job.finalLUFS, false};
    std::optional<Attempt> done;
    if (limiterActs) {
        done.emplace(closestToPromise(job.finalLUFS, encode));
        if (std::abs(done->loudnessLUFS - job.finalLUFS) > toleranceLU) {
            result.loudnessLUFS = done->loudnessLUFS;
            result.offTarget = true;
        }
    } else {
        done.emplace(Attempt{encode(0.0), job.finalLUFS});
    }
    AudioTagCopy::write(done->file.path(), AudioTagCopy::read(job.sourcePath));
    ExportJob named = job; // named after the loudness it has
    named.finalLUFS = result.loudnessLUFS;
    result.path = outputPath(named);
    done->file.commitAs(result.path);
    return result;
}

} // namespace ExportDelivery
