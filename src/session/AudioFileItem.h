#pragma once

// One file of the working list: where it lives, what analysis found, the gain
// correction applied on playback and export, whether the user set it by hand,
// and its segment edits. Lives on the main thread; shared (by
// std::shared_ptr) between the list and undo records, so a removed item comes
// back with the same id, analysis, correction and edits. Two items are the
// same item exactly when their ids are equal.

#include "analysis/AnalysisResult.h"
#include "editing/SegmentEditState.h"
#include "io/Error.h"

#include <QObject>
#include <QString>
#include <QUrl>
#include <QUuid>
#include <memory>
#include <optional>

class AudioFileItem : public QObject {
    Q_OBJECT

public:
    explicit AudioFileItem(QUrl url, QObject* parent = nullptr);

    // The range of a correction set by hand.
    static constexpr double minimumManualCorrectionDB = -30.0;
    static constexpr double maximumManualCorrectionDB = 30.0;

    const QUuid& id() const { return id_; }
    const QUrl& url() const { return url_; }
    // The local path of `url`, every byte of its name kept (NativePath).
    const QString& path() const { return path_; }
    // The folders between a folder the user gave and the file ("Rock/Album";
    // empty for a file given itself): its output goes there.
    const QString& subfolder() const { return subfolder_; }
    void setSubfolder(QString subfolder) { subfolder_ = std::move(subfolder); }

    const std::optional<AnalysisResult>& analysis() const { return analysis_; }
    bool isAnalyzing() const { return isAnalyzing_; }
    const std::optional<Error>& analysisError() const { return analysisError_; }
    double correctionDB() const { return correctionDB_; }
    bool isManualOverride() const { return isManualOverride_; }
    bool isEditMode() const { return isEditMode_; }
    SegmentEditState& segmentEdits() { return *segmentEdits_; }
    const SegmentEditState& segmentEdits() const { return *segmentEdits_; }

    void setAnalysis(std::optional<AnalysisResult> analysis);
    void setIsAnalyzing(bool analyzing);
    void setAnalysisError(std::optional<Error> error);
    void setCorrectionDB(double db);
    void setIsManualOverride(bool manual);
    void setIsEditMode(bool editMode);
    // In album mode, the album it belongs to and that album's figure, which
    // its automatic correction then aims at the target; none otherwise.
    struct AlbumShare {
        QString key; // Albums' key: equal for the tracks of one album
        QString name;
        double figureLUFS = -70.0;
        int tracks = 0;
        bool operator==(const AlbumShare&) const = default;
    };
    const std::optional<AlbumShare>& album() const { return album_; }
    void setAlbum(std::optional<AlbumShare> album);
    // The figure its automatic correction aims at the target: its album's
    // in album mode, else its own (figureLUFS).
    std::optional<double> aimedFigureLUFS() const;
    // Which figure the correction aims at the target, as the list chooses.
    NormalizeBy normalizeBy() const { return normalizeBy_; }
    void setNormalizeBy(NormalizeBy by);

    // The figure it is normalized by, before and after correction (segment
    // offsets not included); none without analysis.
    std::optional<double> figureLUFS() const;
    std::optional<double> finalLUFS() const;
    // finalLUFS moved by what the segment gains are estimated to do to the
    // figure (EditedLoudness), which the table shows: the same gains that
    // headroom counts.
    std::optional<double> editedFinalLUFS() const;
    // Distance from the corrected true peak, with the largest segment offset
    // applied too, to the ceiling; negative means it would pass it. None
    // without analysis.
    std::optional<double> headroomDB(double ceilingDBTP) const;
    // Headroom below this counts as passing the ceiling: the table says
    // "CLIP" and the export asks about the limiter.
    static constexpr double clippingToleranceDB = 0.1;
    bool wouldClip(double ceilingDBTP) const {
        const std::optional<double> h = headroomDB(ceilingDBTP);
        return h && *h < -clippingToleranceDB;
    }

signals:
    void analysisChanged();
    void isAnalyzingChanged();
    void analysisErrorChanged();
    void correctionChanged(); // correctionDB or isManualOverride
    void isEditModeChanged();
    // Any of the above, or the segment edits: the row and the waveform redraw.
    void changed();

private:
    template <typename T, typename Signal> void publish(T& field, T value, Signal signal);

    const QUuid id_;
    const QUrl url_;
    const QString path_;
    QString subfolder_;
    std::optional<AnalysisResult> analysis_;
    bool isAnalyzing_ = false;
    std::optional<Error> analysisError_;
    double correctionDB_ = 0.0;
    bool isManualOverride_ = false;
    bool isEditMode_ = false;
    NormalizeBy normalizeBy_ = NormalizeBy::loudest;
    std::optional<AlbumShare> album_;
    SegmentEditState* segmentEdits_;            // a child of this item
    mutable std::optional<double> editShiftLU_; // EditedLoudness's, until the analysis, figure or edits change
};

using AudioFileItemPtr = std::shared_ptr<AudioFileItem>;

inline size_t qHash(const AudioFileItem& item, size_t seed = 0) { return qHash(item.id(), seed); }
