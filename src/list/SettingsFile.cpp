#include "list/SettingsFile.h"

#include "list/AppState.h"
#include "io/FileError.h"
#include "io/FileIdentity.h"
#include "io/TemporaryFile.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>
#include <cmath>
#include <optional>

namespace SettingsFile {

namespace {

const QString targetKey = QStringLiteral("target_lufs");
const QString filesKey = QStringLiteral("files");
const QString pathKey = QStringLiteral("path");
const QString correctionKey = QStringLiteral("correction_db");
const QString manualKey = QStringLiteral("manual");

// Reads the keys of one JSON object, remembering the first thing wrong.
class Reader {
public:
    Reader(const QJsonObject& object, QString where) : object_(object), where_(std::move(where)) {}

    double number(const QString& key) {
        const QJsonValue v = field(key);
        if (!error_.isEmpty())
            return 0.0;
        if (!v.isDouble() || !std::isfinite(v.toDouble()))
            fail(QStringLiteral("\"%1\"%2 must be a number.").arg(key, where_));
        return v.toDouble();
    }
    bool boolean(const QString& key) {
        const QJsonValue v = field(key);
        if (error_.isEmpty() && !v.isBool())
            fail(QStringLiteral("\"%1\"%2 must be true or false.").arg(key, where_));
        return v.toBool();
    }
    QString text(const QString& key) {
        const QJsonValue v = field(key);
        if (error_.isEmpty() && !v.isString())
            fail(QStringLiteral("\"%1\"%2 must be text.").arg(key, where_));
        return v.toString();
    }
    QJsonArray array(const QString& key) {
        const QJsonValue v = field(key);
        if (error_.isEmpty() && !v.isArray())
            fail(QStringLiteral("\"%1\"%2 must be a list.").arg(key, where_));
        return v.toArray();
    }
    const QString& error() const { return error_; }

private:
    QJsonValue field(const QString& key) {
        if (!error_.isEmpty())
            return {};
        const auto it = object_.constFind(key);
        if (it == object_.constEnd()) {
            fail(QStringLiteral("The key \"%1\" is missing%2.").arg(key, where_));
            return {};
        }
        return *it;
    }
    void fail(const QString& text) {
        if (error_.isEmpty())
            error_ = text;
    }

    const QJsonObject& object_;
    QString where_;
    QString error_;
};

} // namespace

QByteArray encode(const SettingsData& data) {
    QJsonArray files;
    for (const SettingsData::FileEntry& entry : data.files) {
        files.append(QJsonObject{{pathKey, entry.path},
                                 {correctionKey, entry.correctionDB},
                                 {manualKey, entry.manual}});
    }
    const QJsonObject root{{targetKey, data.targetLUFS}, {filesKey, files}};
    return QJsonDocument(root).toJson(QJsonDocument::Compact);
}

std::variant<SettingsData, SettingsError> decode(const QByteArray& json) {
    QJsonParseError parseError{};
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        return SettingsError{QStringLiteral("The file is not valid JSON (%1 at byte %2).")
                                 .arg(parseError.errorString())
                                 .arg(parseError.offset)};
    }
    if (!document.isObject())
        return SettingsError{QStringLiteral("The file does not hold a settings object.")};

    const QJsonObject root = document.object();
    Reader top(root, QString());
    SettingsData data;
    data.targetLUFS = top.number(targetKey);
    const QJsonArray files = top.array(filesKey);
    if (!top.error().isEmpty())
        return SettingsError{top.error()};

    data.files.reserve(static_cast<size_t>(files.size()));
    for (qsizetype i = 0; i < files.size(); ++i) {
        const QString where = QStringLiteral(" in file entry %1").arg(i + 1);
        if (!files[i].isObject())
            return SettingsError{QStringLiteral("The file entry %1 is not an object.").arg(i + 1)};
        const QJsonObject object = files[i].toObject();
        Reader entry(object, where);
        SettingsData::FileEntry e;
        e.path = entry.text(pathKey);
        e.correctionDB = entry.number(correctionKey);
        e.manual = entry.boolean(manualKey);
        if (!entry.error().isEmpty())
            return SettingsError{entry.error()};
        data.files.push_back(std::move(e));
    }
    return data;
}

SettingsData settingsFrom(const AppState& state) {
    SettingsData data;
    data.targetLUFS = state.targetLUFS();
    for (const AudioFileItemPtr& item : state.files())
        data.files.push_back({item->path(), item->correctionDB(), item->isManualOverride()});
    return data;
}

namespace {

std::optional<SettingsError> write(const AppState& state, const QString& path) {
    const QFileInfo target(path);
    for (const AudioFileItemPtr& item : state.files()) {
        if (isSameFile(item->path(), path)) {
            return SettingsError{
                QStringLiteral("\"%1\" is one of the audio files in the list and is not replaced.")
                    .arg(target.fileName())};
        }
    }
    try {
        TemporaryFiles::replaceWith(path, encode(settingsFrom(state)));
    } catch (const FileError& e) {
        return SettingsError{e.description()};
    }
    return std::nullopt;
}

std::variant<SettingsData, SettingsError> read(const QString& path) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return SettingsError{file.errorString()};
    if (file.size() > maximumFileBytes)
        return SettingsError{QStringLiteral("The file is too large to be a settings file.")};
    const QByteArray bytes = file.read(maximumFileBytes + 1);
    if (file.error() != QFileDevice::NoError)
        return SettingsError{file.errorString()};
    if (bytes.size() > maximumFileBytes)
        return SettingsError{QStringLiteral("The file is too large to be a settings file.")};
    return decode(bytes);
}

} // namespace

void saveSettings(AppState& state, const QString& path) {
    const std::optional<SettingsError> error = write(state, path);
    state.setStatusMessage(error ? QStringLiteral("Error saving settings: ") + error->description
                                 : QStringLiteral("Settings saved."));
}

void loadSettings(AppState& state, const QString& path) {
    auto decoded = read(path);
    if (const auto* error = std::get_if<SettingsError>(&decoded)) {
        state.setStatusMessage(QStringLiteral("Error loading settings: ") + error->description);
        return;
    }
    const SettingsData& data = std::get<SettingsData>(decoded);
    state.setTargetLUFS(std::clamp(data.targetLUFS, minimumTargetLUFS, maximumTargetLUFS));

    std::vector<AudioFileItemPtr> items;
    for (const SettingsData::FileEntry& entry : data.files) {
        // Entries whose file is gone are skipped without a message.
        if (!QDir::isAbsolutePath(entry.path) || !QFileInfo::exists(entry.path))
            continue;
        auto item = std::make_shared<AudioFileItem>(QUrl::fromLocalFile(entry.path));
        item->setCorrectionDB(entry.correctionDB);
        item->setIsManualOverride(entry.manual);
        items.push_back(std::move(item));
    }
    state.loadFiles(std::move(items));
}

} // namespace SettingsFile
