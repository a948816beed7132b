#include "ui/TaggingAction.h"

#include "io/NativePath.h"
#include "session/LoudnessTagging.h"

#include <QMessageBox>
#include <QPointer>

namespace {

struct Job {
    QString path;
    LoudnessTagList tags;
};

// The tags of every measured file that can carry them, with its album's in album mode.
std::vector<Job> jobsOf(const BatchSession& state, int& passedOver) {
    const std::vector<AudioFileItemPtr>& files = state.files();
    std::vector<std::pair<QString, const AnalysisResult*>> measured;
    for (const AudioFileItemPtr& item : files)
        measured.emplace_back(item->path(), item->analysis() ? &*item->analysis() : nullptr);
    std::vector<std::optional<AlbumFigures>> albums(files.size());
    if (state.albumMode())
        for (const Albums::Group& group : Albums::grouped(measured))
            for (const size_t i : group.tracks)
                albums[i] = group.figures;
    std::vector<Job> jobs;
    for (size_t i = 0; i < files.size(); ++i) {
        if (!measured[i].second)
            continue;
        if (LoudnessTags::unsupported(files[i]->path()))
            ++passedOver;
        else
            jobs.push_back(
                {files[i]->path(), LoudnessTagging::tagsFor(files[i]->path(), *measured[i].second, albums[i])});
    }
    return jobs;
}

QString files(int n) { return n == 1 ? QStringLiteral("1 file") : QStringLiteral("%1 files").arg(n); }

} // namespace

TaggingAction::TaggingAction(BatchSession& state, StatusLine& status, AnalysisCache& cache, QWidget* window)
    : state_(state), status_(status), cache_(cache), window_(window),
      action_(QStringLiteral("Write ReplayGain Tags...")) {
    action_.setStatusTip(QStringLiteral("Write loudness tags that players honour into the measured files "
                                        "themselves, instead of exporting copies; their audio stays as it is"));
    confirm = [](QWidget* parent, int count) {
        return QMessageBox::question(parent, QStringLiteral("Write ReplayGain Tags"),
                                     QStringLiteral("Write ReplayGain tags into %1? Only their tags change; their "
                                                    "audio stays as it is.")
                                         .arg(files(count)),
                                     QMessageBox::Yes | QMessageBox::Cancel) == QMessageBox::Yes;
    };
    QObject::connect(&action_, &QAction::triggered, this, &TaggingAction::start);
}

TaggingAction::~TaggingAction() = default; // the worker is asked to stop, and joined

void TaggingAction::start() {
    if (state_.isAnalyzing()) {
        status_.show(QStringLiteral("Tags are written once every file is measured."));
        return;
    }
    int passedOver = 0;
    std::vector<Job> jobs = jobsOf(state_, passedOver);
    if (jobs.empty()) {
        status_.show(QStringLiteral("No measured MP3, FLAC, Ogg Vorbis, Opus or M4A file to tag."));
        return;
    }
    if (!confirm(window_, static_cast<int>(jobs.size())))
        return;
    action_.setEnabled(false);
    status_.show(QStringLiteral("Writing tags into %1...").arg(files(static_cast<int>(jobs.size()))));
    const QPointer<TaggingAction> self(this);
    worker_ = std::jthread([this, self, jobs = std::move(jobs), passedOver](std::stop_token stop) {
        int written = 0, upToDate = 0;
        QStringList failed;
        for (const Job& job : jobs) {
            if (stop.stop_requested())
                return;
            const auto outcome = LoudnessTagging::apply(job.path, job.tags, {.skipExisting = true}, &cache_);
            using Kind = LoudnessTagging::Outcome::Kind;
            written += outcome.kind == Kind::written;
            upToDate += outcome.kind == Kind::upToDate;
            if (outcome.kind == Kind::failed)
                failed << NativePath::shownName(job.path) + QStringLiteral(": ") + outcome.error;
        }
        QString text = QStringLiteral("Tags written into %1.").arg(files(written));
        if (upToDate > 0)
            text += QStringLiteral(" %1 had them already.").arg(files(upToDate));
        if (passedOver > 0)
            text += QStringLiteral(" %1 of a kind without such tags passed over.").arg(files(passedOver));
        if (!failed.isEmpty())
            text += QStringLiteral(" Not tagged: ") + failed.join(QStringLiteral("; "));
        QMetaObject::invokeMethod(
            self,
            [self, text] {
                if (!self)
                    return;
                self->action_.setEnabled(true);
                self->status_.show(text);
                emit self->finished();
            },
            Qt::QueuedConnection);
    });
}
