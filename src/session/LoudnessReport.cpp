#include "session/LoudnessReport.h"

#include "io/NativePath.h"
#include "io/TemporaryFile.h"
#include "session/BatchSession.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QStringList>
#include <cmath>

FileReport makeReport(const QString& file, const AnalysisResult& result, const Aim& aim) {
    FileReport r;
    r.file = file;
    r.sampleRate = result.sampleRate;
    r.channels = result.channels;
    r.duration = result.duration;
    r.loudest20sLUFS = result.loudest20sLUFS;
    r.peakDBFS = result.peakDBFS;
    r.truePeakDBTP = result.truePeakDBTP;
    r.figures = result.figures;
    r.windowStart = result.windowStart;
    r.windowEnd = result.windowEnd;
    r.softPassages = result.softPassageRanges();
    r.warning = result.warning();
    r.figureLUFS = result.figureLUFS(aim.values.normalizeBy);
    // A silent file is exported as it is.
    if (!result.isSilent())
        r.correctionDB = BatchSession::correctionFor(aim.values.targetLUFS, r.figureLUFS);
    return r;
}

FileReport makeReport(const QString& file, const AudioFileItem& item, const Aim& aim) {
    FileReport r = makeReport(file, *item.analysis(), aim);
    if (!r.isSilent())
        r.correctionDB = item.correctionDB();
    if (item.album())
        r.album = item.album()->name, r.albumLUFS = item.album()->figureLUFS;
    return r;
}

FileReport makeErrorReport(const QString& file, const QString& error) {
    FileReport r;
    r.file = file;
    r.error = error;
    return r;
}

namespace LoudnessReport {

namespace {

// Two decimals with a point; nothing for what has no finite value (the
// peak of digital silence).
QString number(double value, int decimals = 2) {
    return std::isfinite(value) ? QString::number(value, 'f', decimals) : QString();
}

// One CSV field, quoted when it holds a comma, a quote or a line break.
QString field(const QString& text) {
    if (!text.contains(QLatin1Char(',')) && !text.contains(QLatin1Char('"')) && !text.contains(QLatin1Char('\n')) &&
        !text.contains(QLatin1Char('\r')))
        return text;
    QString quoted = text;
    quoted.replace(QLatin1String("\""), QLatin1String("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}

QString figureName(NormalizeBy by) {
    return by == NormalizeBy::integrated ? QStringLiteral("integrated") : QStringLiteral("Peak 20s");
}

} // namespace

std::optional<Compliance> complianceOf(const FileReport& r, const Aim& aim) {
    const std::optional<TargetValues> values = presetValues(aim.preset);
    if (!values)
        return std::nullopt;
    if (r.isSilent())
        return Compliance{false, QStringLiteral("silent")};
    const double integrated = r.figures.integratedLUFS + r.correctionDB;
    const double truePeak = r.truePeakDBTP + r.correctionDB;
    QStringList why;
    if (std::abs(integrated - values->targetLUFS) > 1.0 + 1e-9)
        why << QStringLiteral("integrated %1 LUFS, %2 LU from the target")
                   .arg(integrated, 0, 'f', 1)
                   .arg(std::abs(integrated - values->targetLUFS), 0, 'f', 1);
    if (truePeak > values->ceilingDBTP + 1e-9)
        why << QStringLiteral("true peak %1 dB over the ceiling").arg(truePeak - values->ceilingDBTP, 0, 'f', 1);
    return Compliance{why.isEmpty(), why.join(QStringLiteral("; "))};
}

QByteArray csv(const std::vector<FileReport>& files, const Aim& aim) {
    const NormalizeBy by = aim.values.normalizeBy;
    QStringList header{QStringLiteral("File"),
                       QStringLiteral("Duration (s)"),
                       QStringLiteral("Sample rate (Hz)"),
                       QStringLiteral("Channels"),
                       QStringLiteral("Peak 20s (LUFS)"),
                       QStringLiteral("Integrated (LUFS)"),
                       QStringLiteral("Loudness range (LU)"),
                       QStringLiteral("Sample peak (dBFS)"),
                       QStringLiteral("True peak (dBTP)"),
                       QStringLiteral("Max momentary (LUFS)"),
                       QStringLiteral("Max short-term (LUFS)"),
                       QStringLiteral("Correction (dB)"),
                       QStringLiteral("Final %1 (LUFS)").arg(figureName(by)),
                       QStringLiteral("Final true peak (dBTP)")};
    const bool albums = std::any_of(files.begin(), files.end(), [](const FileReport& r) { return r.album; });
    if (albums)
        header << QStringLiteral("Album") << QStringLiteral("Album %1 (LUFS)").arg(figureName(by));
    const bool judged = presetValues(aim.preset).has_value();
    if (judged)
        header << QStringLiteral("Meets %1").arg(presetLabel(aim.preset));
    header << QStringLiteral("Error");
    QString text;
    const auto row = [&](const QStringList& fields) {
        QStringList quoted;
        for (const QString& f : fields)
            quoted << field(f);
        text += quoted.join(QLatin1Char(',')) + QStringLiteral("\r\n");
    };
    row(header);
    for (const FileReport& r : files) {
        const QString path = NativePath::shown(r.file);
        if (r.error) {
            QStringList fields{path};
            while (fields.size() < header.size() - 1)
                fields << QString();
            row(fields << *r.error);
            continue;
        }
        QStringList fields{path,
                           number(r.duration, 3),
                           QString::number(r.sampleRate),
                           QString::number(r.channels),
                           number(r.loudest20sLUFS),
                           number(r.figures.integratedLUFS),
                           number(r.figures.loudnessRangeLU),
                           number(r.peakDBFS),
                           number(r.truePeakDBTP),
                           number(r.figures.maxMomentaryLUFS),
                           number(r.figures.maxShortTermLUFS),
                           number(r.correctionDB),
                           number(r.figureLUFS + r.correctionDB),
                           number(r.truePeakDBTP + r.correctionDB)};
        if (albums)
            fields << r.album.value_or(QString()) << (r.album ? number(r.albumLUFS) : QString());
        if (const std::optional<Compliance> c = complianceOf(r, aim))
            fields << (c->met ? QStringLiteral("yes") : QStringLiteral("no: ") + c->why);
        row(fields << QString());
    }
    return text.toUtf8();
}

QByteArray json(const std::vector<FileReport>& files, const Aim& aim) {
    QJsonArray array;
    for (const FileReport& r : files) {
        QJsonObject o;
        o.insert(QStringLiteral("file"), r.file);
        if (r.error) {
            o.insert(QStringLiteral("error"), *r.error);
            array.append(o);
            continue;
        }
        QJsonArray passages;
        for (const TimeRange& p : r.softPassages)
            passages.append(QJsonArray{p.start, p.end});
        o.insert(QStringLiteral("sampleRate"), static_cast<qint64>(r.sampleRate));
        o.insert(QStringLiteral("channels"), r.channels);
        o.insert(QStringLiteral("duration"), r.duration);
        o.insert(QStringLiteral("peakLUFS"), r.loudest20sLUFS);
        o.insert(QStringLiteral("peakDBFS"), r.peakDBFS);
        o.insert(QStringLiteral("integratedLUFS"), r.figures.integratedLUFS);
        o.insert(QStringLiteral("loudnessRangeLU"), r.figures.loudnessRangeLU);
        o.insert(QStringLiteral("truePeakDBTP"), r.truePeakDBTP);
        o.insert(QStringLiteral("maxMomentaryLUFS"), r.figures.maxMomentaryLUFS);
        o.insert(QStringLiteral("maxShortTermLUFS"), r.figures.maxShortTermLUFS);
        o.insert(QStringLiteral("windowStart"), r.windowStart);
        o.insert(QStringLiteral("windowEnd"), r.windowEnd);
        o.insert(QStringLiteral("softPassages"), passages);
        o.insert(QStringLiteral("correctionDB"), r.correctionDB);
        o.insert(QStringLiteral("finalLUFS"), r.figureLUFS + r.correctionDB);
        if (r.album) {
            o.insert(QStringLiteral("album"), *r.album);
            o.insert(QStringLiteral("albumLUFS"), r.albumLUFS);
        }
        if (const std::optional<Compliance> c = complianceOf(r, aim)) {
            o.insert(QStringLiteral("meetsPreset"), c->met);
            if (!c->met)
                o.insert(QStringLiteral("whyNot"), c->why);
        }
        if (r.warning)
            o.insert(QStringLiteral("warning"), *r.warning);
        array.append(o);
    }
    return QJsonDocument(array).toJson(QJsonDocument::Indented);
}

std::vector<FileReport> ofList(const BatchSession& state) {
    const Aim aim = state.currentAim();
    std::vector<FileReport> files;
    for (const AudioFileItemPtr& item : state.files()) {
        if (item->analysis()) {
            files.push_back(makeReport(item->path(), *item, aim));
        } else {
            files.push_back(makeErrorReport(item->path(), item->analysisError()
                                                              ? item->analysisError()->message
                                                              : QStringLiteral("still being measured")));
        }
    }
    return files;
}

Result<> save(const BatchSession& state, const QString& path) {
    return Result<>::of(
        [&] {
            if (state.lists(path))
                throw Failure(Error::Kind::file, BatchSession::listedFileNotReplaced(path));
            const bool asJson = path.endsWith(QLatin1String(".json"), Qt::CaseInsensitive);
            // The byte-order mark lets spreadsheets read the names as UTF-8.
            TemporaryFiles::replaceWith(path,
                                        asJson ? json(ofList(state), state.currentAim())
                                               : QByteArray("\xEF\xBB\xBF") + csv(ofList(state), state.currentAim()));
        },
        QStringLiteral("Unexpected error"));
}

} // namespace LoudnessReport
