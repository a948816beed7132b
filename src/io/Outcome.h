#pragma once

// How every step that can fail reports it. Inside a layer a failure is
// thrown where it is found, as a DescribedError (or a layer's subclass with
// kinds, where a caller tells them apart); its description is the text the
// user sees. Where a result crosses a thread or reaches the window it
// travels as an Outcome: the value, or that description. Outcome::of is the
// one place that turns the first into the second.

#include "io/FileError.h"

#include <QString>
#include <exception>
#include <optional>
#include <type_traits>
#include <utility>
#include <variant>

// The text for whatever was thrown: a DescribedError's description,
// "Not enough memory" for an allocation that failed, `what()` for another
// standard exception, and `unexpected` for anything else.
QString describeException(const std::exception_ptr& error, const QString& unexpected);

template <typename T = std::monostate> class Outcome {
public:
    Outcome(T value) : value_(std::move(value)) {} // NOLINT: a value is a success
    static Outcome failure(QString description) {
        Outcome failed;
        failed.error_ = std::move(description);
        return failed;
    }
    // Runs `step` and returns its value (none for a step that returns
    // nothing), or the description of what it threw.
    template <typename Step> static Outcome of(Step&& step, const QString& unexpected) {
        try {
            if constexpr (std::is_void_v<std::invoke_result_t<Step>>) {
                std::forward<Step>(step)();
                return Outcome(T{});
            } else {
                return Outcome(std::forward<Step>(step)());
            }
        } catch (...) {
            return failure(describeException(std::current_exception(), unexpected));
        }
    }

    bool ok() const { return value_.has_value(); }
    const T& value() const { return *value_; }
    T&& takeValue() { return std::move(*value_); }
    // Empty on success.
    const QString& error() const { return error_; }

private:
    Outcome() = default;
    std::optional<T> value_;
    QString error_;
};
