#pragma once

// Exports one file with segment edits: reads the source, multiplies each
// 512-frame block by the file's gain (correction plus segment offsets with
// their fades), writes linear PCM, and leaves to the encoder only what it
// does not do itself: the limiter, MP3 and FLAC, and the rate of limited
// output. WAV without limiter is written and resampled entirely here. Every
// file it or the encoder writes is a new temporary file beside the output,
// renamed over the output name only once the job has succeeded.

#include "editing/SegmentEditRecords.h"
#include "export/ExportDelivery.h"
#include "export/ExportJob.h"
#include "io/AudioReader.h"
#include "io/TemporaryFile.h"

#include <QString>
#include <QStringList>

// An export with segment edits: the correction is the base the segment
// offsets add to.
struct RenderJob : ExportJob {
    // A copy of the file's edits taken when the job was built: the user may
    // go on editing while the export runs.
    SegmentEditSnapshot segmentEdits;
};

class InAppRenderer {
public:
    // An empty path: look for the encoder when it is needed.
    explicit InAppRenderer(QString ffmpegPath = QString());

    // Renders one job on the calling thread and returns what it wrote.
    // Throws RenderError, SystemError or FileError (a source that cannot be
    // read to its end among them); temporary files never outlive it, and on
    // failure a file already at the output name is untouched.
    ExportedFile render(const RenderJob& job) const;

    // Whether the job needs the limiter: asked for, and the correction plus
    // the largest segment offset raises the level above the source.
    static bool needsLimiter(const RenderJob& job);
    // The encoder arguments from the renderer's WAV to the final output,
    // with `extraGainDB` before the limiter (to land on target when limited).
    static QStringList encodeArguments(const QString& input, const QString& output, ExportFormat format,
                                       SampleRate rate, bool limiter, int64_t limiterInputRate,
                                       double extraGainDB = 0.0);
    // Converts a WAV file to `targetRate` into a new temporary file beside it.
    static TemporaryFile resampleWAV(const QString& input, int64_t targetRate, int bitDepth, bool isFloat,
                                     int channels);

private:
    static AudioReader openSource(const QString& path);
    // Writes the source with its gains applied into a new temporary WAV
    // beside the output: 32-bit float when the limiter or the encoder
    // follows, else the format's own samples.
    static TemporaryFile writeRendered(const RenderJob& job, AudioReader& source, bool floatSamples);
    // Turns the rendered WAV into the output: through the limiter or the
    // encoder, resampled, or as it is; then measured and renamed.
    ExportedFile finish(const RenderJob& job, TemporaryFile& rendered, int64_t rate, int channels, bool limiter) const;
    // Runs the encoder on `args`, which write `output` through its descriptor
    // path; the file is shown in its complaints as `shownName`. Throws RenderError.
    void runFFmpeg(const QStringList& args, const TemporaryFile& output, const QString& shownName) const;

    QString ffmpegPath_;
};
