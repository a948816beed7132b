// One file's export with everything chosen by the input: the source's rate,
// channels, length and samples (overs and all), the correction, the segment
// edits, the format, rate, limiter and ceiling, a size limit on the files
// the process may write (a disk that fills part-way) and a cancel part-way.
// The job ends in one of three ways and leaves the folder as it says:
// a whole output and nothing else, measuring what it reports; or a failure
// with a reason, or a cancel, and an empty folder.

#include "analysis/TruePeak.h"
#include "editing/SegmentEditModel.h"
#include "export/ExportErrors.h"
#include "export/ExportPipeline.h"
#include "io/AudioFileWriter.h"
#include "io/AudioReader.h"

#include "FuzzFiles.h"

#include <QDir>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <fuzzer/FuzzedDataProvider.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

const QString& folder() {
    static const QString path = [] {
        const QString root = QDir("/dev/shm").exists() ? QStringLiteral("/dev/shm") : QDir::tempPath();
        const QString made = QStringLiteral("%1/sonivel-export-fuzz-%2").arg(root).arg(::getpid());
        QDir().mkpath(made + "/out");
        // A full disk shows as a refused write, not as the end of the process.
        ::signal(SIGXFSZ, SIG_IGN);
        return made;
    }();
    return path;
}

// The source: the input's samples as floats, stretched to overs of up to +12 dBFS.
QString writeSource(FuzzedDataProvider& input, int64_t rate, int channels, int64_t frames) {
    const QString path = folder() + "/source.wav";
    const double scale = input.ConsumeFloatingPointInRange(0.0, 4.0);
    std::vector<float> samples(static_cast<size_t>(frames * channels));
    float previous = 0.0f;
    for (float& x : samples)
        x = previous = static_cast<float>(0.5 * previous + scale * (input.ConsumeIntegral<int8_t>() / 128.0));
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0)
        finding("the source cannot be written");
    OutputEncoding encoding;
    const auto writer = AudioFileWriter::open(encoding, fd, "source.wav", rate, channels);
    writer->write(samples.data(), frames);
    writer->close();
    ::close(fd);
    return path;
}

void limitFileSize(rlim_t bytes) {
    struct rlimit limit {};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    limit.rlim_cur = std::min(bytes, limit.rlim_max);
    ::setrlimit(RLIMIT_FSIZE, &limit);
}

// The true peak and the frames of a written file, read back.
std::pair<double, int64_t> readBack(const QString& path) {
    AudioReader file(path);
    TruePeakMeter meter(file.channels());
    std::vector<float> buffer(static_cast<size_t>(4096 * file.channels()));
    int64_t frames = 0;
    for (int64_t n; (n = file.readInterleaved(buffer.data(), 4096)) > 0; frames += n)
        meter.add(buffer.data(), n);
    return {meter.finishDBTP(), frames};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzedDataProvider input(data, size);
    const int64_t sourceRates[] = {8000, 22050, 44100, 48000, 96000};
    const int64_t rate = input.PickValueInArray(sourceRates);
    const int channels = input.ConsumeIntegralInRange(1, 8);
    const int64_t frames = input.ConsumeIntegralInRange<int64_t>(1, rate / 4);

    ExportSettings settings;
    settings.destinationFolder = folder() + "/out";
    settings.format = input.PickValueInArray(allExportFormats);
    settings.sampleRate = input.PickValueInArray(allSampleRates);
    if (!supportsRate(settings.format, settings.sampleRate))
        settings.sampleRate = SampleRate::rate48000;
    settings.useLimiter = input.ConsumeBool();
    settings.ceilingDBTP =
        std::round(input.ConsumeFloatingPointInRange(CeilingRange::lowestDBTP, CeilingRange::highestDBTP) * 10) / 10;
    settings.existing = ExistingOutputs::replace;

    ExportJob job;
    job.stem = "fuzzed";
    job.correctionDB = input.ConsumeFloatingPointInRange(-30.0, 30.0);
    job.promisedLUFS = input.ConsumeFloatingPointInRange(-40.0, 0.0);
    job.isSilent = input.ConsumeBool();
    if (input.ConsumeBool()) {
        SegmentEditSnapshot edits = SegmentEditSnapshot::initial();
        const double seconds = static_cast<double>(frames) / static_cast<double>(rate);
        for (int i = input.ConsumeIntegralInRange(0, 6); i > 0; --i)
            SegmentEditModel::addSeparator(edits, input.ConsumeFloatingPointInRange(0.0, seconds));
        for (size_t i = 0; i < edits.segmentGains.size(); ++i)
            SegmentEditModel::setSegmentGain(edits, static_cast<int64_t>(i),
                                             input.ConsumeFloatingPointInRange(-20.0, 20.0));
        for (const Separator& s : std::vector<Separator>(edits.separators))
            SegmentEditModel::setFadeDuration(edits, s.id, input.ConsumeFloatingPointInRange(0.0, 500.0));
        job.segmentEdits = edits;
    }
    const auto fileLimit = static_cast<rlim_t>(input.ConsumeIntegralInRange<uint32_t>(0, 64)) * 4096;
    const int cancelAt = input.ConsumeIntegralInRange(0, 8);
    job.sourcePath = writeSource(input, rate, channels, frames);

    std::stop_source cancel;
    int calls = 0;
    const JobControl control{cancel.get_token(), [&](double) {
                                 if (cancelAt > 0 && ++calls == cancelAt)
                                     cancel.request_stop();
                             }};
    OutputNames names(settings.destinationFolder, settings.existing, {job.sourcePath});
    std::optional<ExportedFile> written;
    QString failure;
    if (fileLimit > 0)
        limitFileSize(fileLimit);
    try {
        written = ExportPipeline::exportFile(job, settings, names, control);
    } catch (const Failure& e) {
        failure = e.message();
        if (e.kind() != Error::Kind::stopped && failure.isEmpty())
            finding("a failure without a reason");
    }
    limitFileSize(RLIM_INFINITY);

    QDir out(settings.destinationFolder);
    const QStringList left = out.entryList(QDir::Files | QDir::Hidden | QDir::System);
    if (written) {
        if (left != QStringList{QFileInfo(written->path).fileName()})
            finding("an output beside other files");
        const auto [truePeak, outFrames] = readBack(written->path);
        const int64_t expected = frames * hertz(settings.sampleRate) / rate; // the length at the output's rate
        if (std::abs(outFrames - expected) > lengthTolerance(settings.format) + 2)
            finding("an output of another length");
        if (!written->offTarget && !written->isSilent && truePeak > settings.ceilingDBTP + 0.1)
            finding("a true peak over the ceiling without a word");
        if (std::abs(truePeak - written->truePeakDBTP) > 0.05 && truePeak > -100)
            finding("a reported true peak the file does not have");
        out.remove(QFileInfo(written->path).fileName());
    } else if (!left.isEmpty()) {
        finding("a failed or cancelled job that left a file");
    }
    return 0;
}
