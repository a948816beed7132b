#pragma once

// Which of a file's figures its correction aims at the target: the gated
// loudness of its loudest 20 seconds, or its integrated loudness, the figure
// streaming services and broadcasters normalize by.

#include <QString>
#include <optional>

enum class NormalizeBy { loudest, integrated };

// "loudest" and "integrated", as settings files and command lines name them.
inline QString normalizeByName(NormalizeBy by) {
    return by == NormalizeBy::loudest ? QStringLiteral("loudest") : QStringLiteral("integrated");
}
inline std::optional<NormalizeBy> normalizeByNamed(const QString& name) {
    if (name == normalizeByName(NormalizeBy::loudest))
        return NormalizeBy::loudest;
    if (name == normalizeByName(NormalizeBy::integrated))
        return NormalizeBy::integrated;
    return std::nullopt;
}
