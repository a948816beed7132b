#include "analysis/FFmpegDecode.h"

#include "analysis/AnalysisErrors.h"
#include "io/EncoderProcess.h"
#include "io/Error.h"
#include "io/FFmpegLocator.h"
#include "io/Interruption.h"
#include "io/NativePath.h"

#include <QDir>
#include <QFileInfo>
#include <QProcess>

namespace {

TemporaryFile newTemporaryWav(const QString& sourcePath) {
    try {
        return TemporaryFile(QDir::tempPath(), QStringLiteral("wav"));
    } catch (const Failure& e) {
        if (e.kind() == Error::Kind::stopped)
            throw AnalysisErrors::stopped(sourcePath);
        throw AnalysisErrors::cannotWriteTemporary(sourcePath, e.message());
    }
}

} // namespace

FFmpegDecodedFile::FFmpegDecodedFile(const QString& sourcePath)
    : FFmpegDecodedFile(sourcePath, FFmpegLocator::find()) {}

FFmpegDecodedFile::FFmpegDecodedFile(const QString& sourcePath, const QString& encoder)
    : file_(newTemporaryWav(sourcePath)) {

    QProcess ffmpeg;
    EncoderProcess::prepare(ffmpeg, encoder,
                            {"-i", sourcePath, "-f", "wav", "-acodec", "pcm_f32le", "-ar", "48000", "-"});
    // Standard error is discarded, so a chatty child never blocks on a full pipe.
    ffmpeg.setStandardErrorFile(QProcess::nullDevice());
    ffmpeg.start();
    if (!ffmpeg.waitForStarted(-1))
        throw AnalysisErrors::cannotStartDecoder(sourcePath, ffmpeg.errorString());
    const Interruption::TrackedChild tracked(static_cast<pid_t>(ffmpeg.processId()));

    // The stream goes to the temporary file as it arrives instead of being
    // held in memory whole.
    qint64 written = 0;
    try {
        const auto drain = [&] {
            const QByteArray chunk = ffmpeg.readAllStandardOutput();
            file_.write(chunk.constData(), chunk.size());
            written += chunk.size();
        };
        // A program asked to stop does not wait for the decode's end.
        while (!Interruption::cancelRequested()) {
            if (ffmpeg.waitForReadyRead(100))
                drain();
            else if (ffmpeg.state() == QProcess::NotRunning)
                break;
        }
        if (Interruption::cancelRequested()) {
            ffmpeg.kill();
            ffmpeg.waitForFinished(-1);
            throw AnalysisErrors::stopped(sourcePath);
        }
        ffmpeg.waitForFinished(-1);
        drain();
    } catch (const Failure& e) {
        ffmpeg.kill();
        ffmpeg.waitForFinished(-1);
        throw AnalysisErrors::cannotWriteTemporary(
            sourcePath, QStringLiteral("%1 (in %2)").arg(e.message(), QDir::toNativeSeparators(QDir::tempPath())));
    }
    if (ffmpeg.exitStatus() != QProcess::NormalExit || ffmpeg.exitCode() != 0 || written == 0)
        throw AnalysisErrors::cannotDecode(sourcePath);
}

FFmpegDecodedFile::~FFmpegDecodedFile() = default;
