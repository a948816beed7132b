#include "session/SettingsFile.h"

#include "editing/SegmentEditModel.h"
#include "io/NativePath.h"
#include "io/RegularFile.h"
#include "io/TemporaryFile.h"
#include "session/BatchSession.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <algorithm>
#include <cmath>

SettingsData::Segments SettingsData::Segments::of(const SegmentEditSnapshot& edits) {
    Segments segments;
    for (const Separator& s : edits.separators)
        segments.separators.push_back({s.timeSeconds, s.fadeDurationMs});
    for (const SegmentGain& g : edits.segmentGains)
        segments.gainsDB.push_back(g.gainOffsetDB);
    return segments;
}

SegmentEditSnapshot SettingsData::Segments::snapshot() const {
    SegmentEditSnapshot edits;
    for (const Cut& cut : separators)
        edits.separators.push_back({QUuid::createUuid(), cut.seconds, cut.fadeMs});
    for (double gain : gainsDB)
        edits.segmentGains.push_back({QUuid::createUuid(), gain});
    return edits;
}

namespace SettingsFile {

namespace {

const QString targetKey = QStringLiteral("target_lufs");
const QString ceilingKey = QStringLiteral("ceiling_dbtp");
const QString mixKey = QStringLiteral("channel_mix");
const QString normalizeKey = QStringLiteral("normalize_by");
const QString albumKey = QStringLiteral("album_mode");
const QString presetKey = QStringLiteral("preset");
const QString filesKey = QStringLiteral("files");

const QString pathKey = QStringLiteral("path");
const QString correctionKey = QStringLiteral("correction_db");
const QString manualKey = QStringLiteral("manual");
const QString segmentsKey = QStringLiteral("segments");
const QString folderKey = QStringLiteral("folder");
const QString separatorsKey = QStringLiteral("separators");
const QString gainsKey = QStringLiteral("gains_db");
const QString secondsKey = QStringLiteral("seconds");
const QString fadeKey = QStringLiteral("fade_ms");

// Reads the keys of one JSON object; the first thing wrong is thrown.
class Reader {
public:
    Reader(const QJsonObject& object, QString where) : object_(object), where_(std::move(where)) {}

    double number(const QString& key) const {
        const QJsonValue v = field(key);
        if (!v.isDouble() || !std::isfinite(v.toDouble()))
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must be a number.").arg(key, where_));
        return v.toDouble();
    }
    // A key that older files do not have.
    double number(const QString& key, double missing) const { return object_.contains(key) ? number(key) : missing; }
    bool boolean(const QString& key) const {
        const QJsonValue v = field(key);
        if (!v.isBool())
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must be true or false.").arg(key, where_));
        return v.toBool();
    }
    QString text(const QString& key) const {
        const QJsonValue v = field(key);
        if (!v.isString())
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must be text.").arg(key, where_));
        return v.toString();
    }
    QJsonArray array(const QString& key) const {
        const QJsonValue v = field(key);
        if (!v.isArray())
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must be a list.").arg(key, where_));
        return v.toArray();
    }
    QJsonObject object(const QString& key) const {
        const QJsonValue v = field(key);
        if (!v.isObject())
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must be an object.").arg(key, where_));
        return v.toObject();
    }

private:
    QJsonValue field(const QString& key) const {
        const auto it = object_.constFind(key);
        if (it == object_.constEnd())
            throw Failure(Error::Kind::settings, QStringLiteral("The key \"%1\" is missing%2.").arg(key, where_));
        return *it;
    }

    const QJsonObject& object_;
    QString where_;
};

SettingsData::Segments decodeSegments(const QJsonObject& object, const QString& where) {
    const Reader edits(object, QStringLiteral(" in the segments") + where);
    SettingsData::Segments segments;
    for (const QJsonValue& value : edits.array(separatorsKey)) {
        const QJsonObject fields = value.toObject();
        const Reader separator(fields, QStringLiteral(" for a separator") + where);
        segments.separators.push_back({separator.number(secondsKey), separator.number(fadeKey)});
    }
    for (const QJsonValue& value : edits.array(gainsKey)) {
        if (!value.isDouble() || !std::isfinite(value.toDouble()))
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\"%2 must hold numbers.").arg(gainsKey, where));
        segments.gainsDB.push_back(std::clamp(value.toDouble(), -SegmentEditModel::maximumGainOffsetDB,
                                              SegmentEditModel::maximumGainOffsetDB));
    }
    if (!SegmentEditModel::satisfiesInvariants(segments.snapshot()))
        throw Failure(Error::Kind::settings,
                      QStringLiteral("The segments%1 do not fit together: separators must come in order, at least "
                                     "%2 seconds apart and from %3 seconds on, with fades of up to %4 ms, and there "
                                     "must be one gain more than separators.")
                          .arg(where)
                          .arg(SegmentEditModel::minimumSpacingSeconds)
                          .arg(SegmentEditModel::minimumStartSeconds)
                          .arg(SegmentEditModel::maximumFadeMs));
    return segments;
}

SettingsData decodeOrThrow(const QByteArray& json) {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        throw Failure(Error::Kind::settings, QStringLiteral("The file is not valid JSON (%1 at byte %2).")
                                                 .arg(parseError.errorString())
                                                 .arg(parseError.offset));
    }
    if (!document.isObject())
        throw Failure(Error::Kind::settings, QStringLiteral("The file does not hold a settings object."));

    const QJsonObject root = document.object();
    const Reader top(root, QString());
    SettingsData data;
    data.targetLUFS = top.number(targetKey);
    data.ceilingDBTP = top.number(ceilingKey, CeilingRange::defaultDBTP);
    if (root.contains(mixKey)) {
        data.channelMix = channelMixNames.named(top.text(mixKey));
        if (!data.channelMix)
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\" must be \"sum\" or \"average\".").arg(mixKey));
    }
    if (root.contains(normalizeKey)) {
        const std::optional<NormalizeBy> by = normalizeByNames.named(top.text(normalizeKey));
        if (!by)
            throw Failure(Error::Kind::settings,
                          QStringLiteral("\"%1\" must be \"loudest\" or \"integrated\".").arg(normalizeKey));
        data.normalizeBy = *by;
    }
    if (root.contains(albumKey))
        data.albumMode = top.boolean(albumKey);
    if (root.contains(presetKey)) {
        const std::optional<TargetPreset> preset = presetNamed(top.text(presetKey));
        if (!preset)
            throw Failure(Error::Kind::settings, QStringLiteral("\"%1\" must be \"custom\" or one of %2.")
                                                     .arg(presetKey, presetNameList(QStringLiteral(", "))));
        data.preset = *preset;
    }
    const QJsonArray files = top.array(filesKey);
    data.files.reserve(static_cast<size_t>(files.size()));
    for (qsizetype i = 0; i < files.size(); ++i) {
        if (!files[i].isObject())
            throw Failure(Error::Kind::settings, QStringLiteral("The file entry %1 is not an object.").arg(i + 1));
        const QJsonObject object = files[i].toObject();
        const QString where = QStringLiteral(" in file entry %1").arg(i + 1);
        const Reader entry(object, where);
        data.files.push_back({entry.text(pathKey), entry.number(correctionKey), entry.boolean(manualKey), {}, {}});
        if (object.contains(segmentsKey))
            data.files.back().segments = decodeSegments(entry.object(segmentsKey), where);
        if (object.contains(folderKey)) {
            const QString folder = entry.text(folderKey);
            const QStringList steps = folder.split(QLatin1Char('/'));
            if (std::any_of(steps.begin(), steps.end(), [](const QString& step) {
                    return step.isEmpty() || step == QLatin1String(".") || step == QLatin1String("..");
                }))
                throw Failure(
                    Error::Kind::settings,
                    QStringLiteral("\"%1\"%2 must be a folder inside the export folder, like \"Artist/Album\".")
                        .arg(folderKey, where));
            data.files.back().folder = folder;
        }
    }
    return data;
}

const QString unexpected = QStringLiteral("Unexpected error");

} // namespace

QByteArray encode(const SettingsData& data) {
    QJsonArray files;
    for (const SettingsData::FileEntry& entry : data.files) {
        QJsonObject file{{pathKey, entry.path}, {correctionKey, entry.correctionDB}, {manualKey, entry.manual}};
        if (entry.segments) {
            QJsonArray separators, gains;
            for (const SettingsData::Segments::Cut& cut : entry.segments->separators)
                separators.append(QJsonObject{{secondsKey, cut.seconds}, {fadeKey, cut.fadeMs}});
            for (double gain : entry.segments->gainsDB)
                gains.append(gain);
            file.insert(segmentsKey, QJsonObject{{separatorsKey, separators}, {gainsKey, gains}});
        }
        if (!entry.folder.isEmpty())
            file.insert(folderKey, entry.folder);
        files.append(file);
    }
    QJsonObject root{{targetKey, data.targetLUFS},
                     {ceilingKey, data.ceilingDBTP},
                     {normalizeKey, normalizeByNames.name(data.normalizeBy)},
                     {presetKey, presetName(data.preset)},
                     {filesKey, files}};
    if (data.channelMix)
        root.insert(mixKey, channelMixNames.name(*data.channelMix));
    if (data.albumMode)
        root.insert(albumKey, true);
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

Result<SettingsData> decode(const QByteArray& json) {
    return Result<SettingsData>::of([&] { return decodeOrThrow(json); }, unexpected);
}

SettingsData settingsFrom(const BatchSession& state) {
    SettingsData data;
    data.targetLUFS = state.targetLUFS();
    data.ceilingDBTP = state.ceilingDBTP();
    data.channelMix = state.channelMix();
    data.normalizeBy = state.normalizeBy();
    data.preset = state.preset();
    data.albumMode = state.albumMode();
    for (const AudioFileItemPtr& item : state.files()) {
        data.files.push_back({item->path(), item->correctionDB(), item->isManualOverride(), {}, item->subfolder()});
        if (item->segmentEdits().hasEdits())
            data.files.back().segments = SettingsData::Segments::of(item->segmentEdits().snapshot());
    }
    return data;
}

namespace {

void write(const BatchSession& state, const QString& path) {
    if (state.lists(path))
        throw Failure(Error::Kind::settings, BatchSession::listedFileNotReplaced(path));
    TemporaryFiles::replaceWith(path, encode(settingsFrom(state)));
}

SettingsData read(const QString& path) {
    if (const std::optional<QString> why = RegularFile::problem(path))
        throw Failure(Error::Kind::settings, QStringLiteral("\"%1\": %2").arg(NativePath::shownName(path), *why));
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        throw Failure(Error::Kind::settings, file.errorString());
    if (file.size() > maximumFileBytes)
        throw Failure(Error::Kind::settings, QStringLiteral("The file is too large to be a settings file."));
    const QByteArray bytes = file.read(maximumFileBytes + 1);
    if (file.error() != QFileDevice::NoError)
        throw Failure(Error::Kind::settings, file.errorString());
    if (bytes.size() > maximumFileBytes)
        throw Failure(Error::Kind::settings, QStringLiteral("The file is too large to be a settings file."));
    return decodeOrThrow(bytes);
}

} // namespace

Result<> saveSettings(BatchSession& state, const QString& path) {
    return Result<>::of([&] { write(state, path); }, unexpected);
}

namespace {

// Why an entry is left out, or none when it becomes an item.
std::optional<QString> skipReason(const QString& path, Entries entries, QSet<QString>& seen) {
    if (!QDir::isAbsolutePath(path))
        return QStringLiteral("not an absolute path");
    if (entries == Entries::asListed)
        return NativePath::exists(path) ? std::nullopt : std::optional(QStringLiteral("not found"));
    return notExportable(path, seen);
}

} // namespace

std::optional<QString> notExportable(const QString& path, QSet<QString>& seen) {
    if (std::optional<QString> why = RegularFile::problem(path))
        return why;
    const QString canonical = NativePath::canonical(path);
    if (seen.contains(canonical))
        return QStringLiteral("listed twice");
    seen.insert(canonical);
    return std::nullopt;
}

Result<Loaded> loadSettings(BatchSession& state, const QString& path, Entries entries) {
    const auto decoded = Result<SettingsData>::of([&] { return read(path); }, unexpected);
    if (!decoded.ok())
        return decoded.error();
    const SettingsData& data = decoded.value();
    state.setAim(
        {{std::clamp(data.targetLUFS, minimumTargetLUFS, maximumTargetLUFS), data.normalizeBy, data.ceilingDBTP},
         data.preset});
    state.setAlbumMode(data.albumMode);
    std::vector<AudioFileItemPtr> items;
    Loaded loaded;
    loaded.mixAssumed = !data.channelMix;
    QSet<QString> seen;
    for (const SettingsData::FileEntry& entry : data.files) {
        if (std::optional<QString> why = skipReason(entry.path, entries, seen)) {
            loaded.skipped.push_back({entry.path, *why});
            continue;
        }
        auto item = std::make_shared<AudioFileItem>(NativePath::toUrl(entry.path));
        item->setCorrectionDB(std::clamp(entry.correctionDB, minimumCorrectionDB, maximumCorrectionDB));
        item->setIsManualOverride(entry.manual);
        item->setSubfolder(entry.folder);
        if (entry.segments)
            item->segmentEdits().restore(entry.segments->snapshot());
        items.push_back(std::move(item));
    }
    state.loadFiles(std::move(items), data.channelMix.value_or(ChannelMix::sum));
    return loaded;
}

} // namespace SettingsFile
