// Any bytes as a settings file: decoding gives settings or a reason, never
// a crash, and what it gives encodes and decodes to the same settings.

#include "session/SettingsFile.h"

#include "FuzzFiles.h"

#include <cmath>
#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const auto decoded = SettingsFile::decode(QByteArray(reinterpret_cast<const char*>(data), qsizetype(size)));
    if (!decoded.ok()) {
        if (decoded.error().message.isEmpty())
            finding("a refusal without a reason");
        return 0;
    }
    const SettingsData& settings = decoded.value();
    if (!std::isfinite(settings.targetLUFS))
        finding("a target that is no number");
    for (const SettingsData::FileEntry& entry : settings.files) {
        if (!std::isfinite(entry.correctionDB))
            finding("a correction that is no number");
    }
    const auto again = SettingsFile::decode(SettingsFile::encode(settings));
    if (!again.ok() || !(again.value() == settings))
        finding("settings that do not survive being saved and loaded");
    return 0;
}
