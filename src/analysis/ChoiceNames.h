#pragma once

// The names that settings files and command lines give the values of a small
// enum, both ways.

#include <QString>
#include <array>
#include <optional>
#include <utility>

template <typename E, size_t N> struct ChoiceNames {
    std::array<std::pair<E, const char*>, N> rows;

    QString name(E value) const {
        for (const auto& [v, text] : rows)
            if (v == value)
                return QString::fromLatin1(text);
        return {};
    }
    std::optional<E> named(const QString& text) const {
        for (const auto& [v, name] : rows)
            if (text == QLatin1String(name))
                return v;
        return std::nullopt;
    }
};
