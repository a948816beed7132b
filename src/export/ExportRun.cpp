#include "export/ExportRun.h"

#include "export/ExportErrors.h"
#include "io/Error.h"
#include "io/NativePath.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <mutex>
#include <sys/stat.h>
#include <utility>

namespace ExportRun {

void nameJobs(Plan& plan, const ExportSettings& settings) {
    // The folder may not exist yet: the nearest one that does tells the file
    // system (the root always does).
    QString existing = NativePath::absolute(settings.destinationFolder);
    while (!QFileInfo(existing).isDir())
        existing = QFileInfo(existing).absolutePath();
    const int nameMax = ExportNaming::nameMaxOf(existing);
    // Distinct within each folder of the mirrored tree, in list order.
    std::map<QString, std::vector<size_t>> byFolder;
    for (size_t i = 0; i < plan.jobs.size(); ++i)
        byFolder[plan.jobs[i].subfolder.toCaseFolded()].push_back(i);
    for (const auto& [folder, jobs] : byFolder) {
        QStringList sources;
        for (size_t i : jobs)
            sources << plan.jobs[i].sourcePath;
        const QStringList stems = ExportNaming::distinctStems(sources, settings.format, nameMax);
        for (size_t k = 0; k < jobs.size(); ++k) {
            ExportJob& job = plan.jobs[jobs[k]];
            const QString& stem = stems[static_cast<qsizetype>(k)];
            job.stem = job.subfolder.isEmpty() ? stem : job.subfolder + QLatin1Char('/') + stem;
        }
    }
}

namespace {

// The name a job's output takes when it keeps its promise.
QString promisedName(const ExportJob& job, const ExportSettings& settings) {
    return ExportNaming::fileName(job.stem, job.promisedLUFS, job.isSilent, settingsFor(job, settings).format);
}

// That name, if a file has it already.
std::optional<QString> existingPromisedName(const ExportJob& job, const ExportSettings& settings) {
    const QString name = promisedName(job, settings);
    if (NativePath::exists(QDir(settings.destinationFolder).filePath(name)))
        return name;
    return std::nullopt;
}

// Seconds and nanoseconds of a file's last change, through links.
std::optional<std::pair<int64_t, int64_t>> modifiedAt(const QString& path) {
    struct stat st {};
    if (::stat(NativePath::encode(path).constData(), &st) != 0)
        return std::nullopt;
    return std::pair<int64_t, int64_t>{st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
}

// The path of a job's promised output when the settings skip one that is
// there already and newer than its source.
std::optional<QString> upToDateOutput(const ExportJob& job, const ExportSettings& settings) {
    if (!settings.skipUpToDate)
        return std::nullopt;
    const QString path = QDir(settings.destinationFolder).filePath(promisedName(job, settings));
    const auto output = modifiedAt(path), source = modifiedAt(job.sourcePath); // none for a file not there
    return output && source && *output > *source ? std::optional(path) : std::nullopt;
}

} // namespace

QStringList existingOutputs(const Plan& plan, const ExportSettings& settings) {
    QStringList existing;
    for (const ExportJob& job : plan.jobs) {
        if (const auto name = existingPromisedName(job, settings); name && !upToDateOutput(job, settings))
            existing << *name;
    }
    return existing;
}

int64_t Summary::writtenCount() const {
    return std::count_if(files.begin(), files.end(), [](const FileResult& f) { return f.written.has_value(); });
}

int64_t Summary::failedCount() const {
    return std::count_if(files.begin(), files.end(), [](const FileResult& f) { return f.error.has_value(); });
}

int64_t Summary::upToDateCount() const {
    return std::count_if(files.begin(), files.end(), [](const FileResult& f) { return f.upToDate.has_value(); });
}

namespace {

// What the jobs of one run share.
struct Run {
    Plan plan;
    ExportSettings settings;
    Progress progress;
    std::function<void(Summary)> done;
    Summary summary;
    // The folder is made by the first job to start, on a worker.
    std::once_flag prepared;
    bool ready = false;
    QStringList madeFolders;
    std::optional<OutputNames> names;
    // Each job's share in millionths, and their sum kept as they change (a
    // long list is not summed at every call), exact so that a whole run
    // reads whole.
    std::mutex mutex; // guards the shares, their sum and the progress calls
    std::vector<int64_t> shares;
    int64_t sum = 0;
    int64_t finished = 0;

    void report(size_t index, double share, bool ended) {
        constexpr double millionths = 1e6;
        const std::lock_guard lock(mutex);
        const auto part = std::llround(share * millionths);
        sum += part - shares[index];
        shares[index] = part;
        finished += ended ? 1 : 0;
        if (progress)
            progress(finished, static_cast<double>(sum) / millionths);
    }

    void exportOne(size_t index, std::stop_token stop) {
        FileResult& result = summary.files[index];
        std::call_once(prepared, [this] { prepare(); });
        if (!ready || stop.stop_requested())
            return;
        const JobControl control{stop, [this, index](double share) { report(index, share, false); }};
        const ExportJob& job = plan.jobs[index];
        try {
            result.upToDate = upToDateOutput(job, settings);
            if (result.upToDate) {
                report(index, 1.0, true);
                return;
            }
            // A name the user keeps is not made again only to be refused at the end.
            if (settings.existing == ExistingOutputs::skip) {
                if (const auto name = existingPromisedName(job, settings))
                    throw Failure(Error::Kind::exists, ExportNaming::alreadyExists(*name));
            }
            result.written = ExportPipeline::exportFile(job, settings, *names, control);
        } catch (...) {
            const Error error = errorOf(std::current_exception(), QStringLiteral("Unexpected error"));
            if (error.kind == Error::Kind::stopped)
                return;
            result.error = error;
        }
        report(index, 1.0, true);
    }

    // Makes the folder; what a killed or crashed run left there and in the
    // temporary folder goes (a live run's files are locked). A folder that cannot be made ends the run.
    void prepare() {
        try {
            madeFolders = ExportFiles::makeFolder(settings.destinationFolder);
        } catch (const Failure& e) {
            summary.error = e.error();
            return;
        }
        TemporaryFiles::removeStale(settings.destinationFolder);
        TemporaryFiles::removeStale(QDir::tempPath()); // the decoder's, from a killed run
        names.emplace(settings.destinationFolder, settings.existing, plan.sources);
        ready = true;
    }

    void end(bool stopped) {
        summary.cancelled = stopped && !summary.error;
        // A run that wrote nothing leaves no empty folder of its own behind.
        if (summary.writtenCount() == 0)
            ExportFiles::removeIfEmpty(madeFolders);
        done(std::move(summary));
    }
};

} // namespace

JobRunner::Batch start(JobRunner& runner, Plan plan, ExportSettings settings, Progress progress,
                       std::function<void(Summary)> done) {
    auto run = std::make_shared<Run>();
    run->plan = std::move(plan);
    run->settings = std::move(settings);
    run->progress = std::move(progress);
    run->done = std::move(done);
    run->summary.files.resize(run->plan.jobs.size());
    for (size_t i = 0; i < run->plan.jobs.size(); ++i)
        run->summary.files[i].sourcePath = run->plan.jobs[i].sourcePath;
    if (run->plan.jobs.empty())
        return runner.start(0, {}, [run](bool) { run->done(std::move(run->summary)); });
    run->shares.assign(run->plan.jobs.size(), 0);
    return runner.start(
        run->plan.count(), [run](int64_t i, std::stop_token stop) { run->exportOne(static_cast<size_t>(i), stop); },
        [run](bool stopped) { run->end(stopped); });
}

} // namespace ExportRun
