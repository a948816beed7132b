#include "analysis/FFmpegDecode.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/FFmpegLocator.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QUuid>

namespace {

std::string utf8(const QString& s) {
    return s.toUtf8().toStdString();
}

QString newTemporaryPath() {
    const QString name = QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper();
    return QDir(QDir::tempPath()).filePath(name + QStringLiteral(".wav"));
}

} // namespace

FFmpegDecodedFile::FFmpegDecodedFile(const QString& sourcePath)
    : FFmpegDecodedFile(sourcePath, FFmpegLocator::find()) {}

FFmpegDecodedFile::FFmpegDecodedFile(const QString& sourcePath, const QString& encoder)
    : path_(newTemporaryPath()) {
    using Kind = AudioLoaderError::Kind;
    const QString fileName = QFileInfo(sourcePath).fileName();

    QFile out(path_);
    if (!out.open(QIODevice::WriteOnly | QIODevice::NewOnly)) {
        throw AudioLoaderError(Kind::writeFailed, utf8(out.errorString()));
    }

    QProcess ffmpeg;
    ffmpeg.setProgram(encoder);
    ffmpeg.setArguments(
        {"-i", sourcePath, "-f", "wav", "-acodec", "pcm_f32le", "-ac", "1", "-ar", "48000", "-"});
    // No input: ffmpeg would otherwise read the terminal for commands. Its
    // standard error is discarded, so a chatty child never blocks on a full pipe.
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.setStandardErrorFile(QProcess::nullDevice());
    ffmpeg.start();
    if (!ffmpeg.waitForStarted(-1)) {
        out.close();
        QFile::remove(path_);
        throw AudioLoaderError(Kind::launchFailed, utf8(ffmpeg.errorString()));
    }

    // The stream goes to the temporary file as it arrives instead of being
    // held in memory whole.
    qint64 written = 0;
    bool writeOk = true;
    auto drain = [&] {
        const QByteArray chunk = ffmpeg.readAllStandardOutput();
        if (writeOk && !chunk.isEmpty()) {
            writeOk = out.write(chunk) == chunk.size();
            written += chunk.size();
        }
    };
    while (ffmpeg.waitForReadyRead(-1)) {
        drain();
        if (!writeOk) {
            break;
        }
    }
    if (writeOk) {
        ffmpeg.waitForFinished(-1);
        drain();
        writeOk = out.flush();
    } else {
        ffmpeg.kill();
        ffmpeg.waitForFinished(-1);
    }
    const QString writeError = out.errorString();
    out.close();

    if (!writeOk) {
        QFile::remove(path_);
        throw AudioLoaderError(Kind::writeFailed, utf8(writeError));
    }
    if (ffmpeg.exitStatus() != QProcess::NormalExit || ffmpeg.exitCode() != 0 || written == 0) {
        QFile::remove(path_);
        throw AudioLoaderError(Kind::ffmpegFailed, utf8(fileName));
    }
}

FFmpegDecodedFile::~FFmpegDecodedFile() {
    QFile::remove(path_);
}

bool decodeKeepingFormat(const QString& sourcePath, const QString& targetPath, const QString& encoder) {
    QProcess ffmpeg;
    ffmpeg.setStandardInputFile(QProcess::nullDevice());
    ffmpeg.setStandardOutputFile(QProcess::nullDevice());
    ffmpeg.setStandardErrorFile(QProcess::nullDevice());
    ffmpeg.start(encoder, {"-y", "-i", sourcePath, "-c:a", "pcm_f32le", targetPath});
    return ffmpeg.waitForFinished(-1) && ffmpeg.exitStatus() == QProcess::NormalExit && ffmpeg.exitCode() == 0;
}
