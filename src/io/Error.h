#pragma once

// How every step that can fail reports it. Where a failure is found it is
// thrown as a Failure carrying an Error: its kind (for a caller that must
// tell failures apart), the words the user sees, the file it concerns and,
// for audio that stops decoding part-way, where. Where a result crosses a
// thread or reaches the window it travels as a Result: the value, or that
// Error. Result::of is the one place that turns the first into the second.

#include <QString>
#include <cstring>
#include <exception>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>

struct Error {
    enum class Kind {
        file,       // the system refused to open, read, write or rename a file
        notAFile,   // no readable regular file: missing, a folder, a pipe ...
        noAudio,    // a file the libraries read, with no audio stream in it
        badSamples, // samples no audio has (a foreign or damaged float file)
        damaged,    // audio that stops decoding part-way; `at` says where
        decode,     // no reader could decode the file
        tooLong,    // more frames than a measurement can hold
        exists,     // an output name taken by a file the user keeps
        empty,      // no samples at all
        memory,     // an allocation failed
        stopped,    // the user cancelled or the program is ending: no fault of the file
        settings,   // a settings file that cannot be used
        usage,      // a command line that cannot be run
        other,
    };
    Kind kind = Kind::other;
    QString message;          // what the user sees, naming the file where there is one
    QString path;             // the file it concerns; empty when none
    std::optional<double> at; // seconds into the audio, for damaged audio

    friend bool operator==(const Error&, const Error&) = default;
};

// The one exception type: an Error on its way to where a Result is made.
class Failure : public std::exception {
public:
    explicit Failure(Error error) : error_(std::move(error)), what_(error_.message.toStdString()) {}
    Failure(Error::Kind kind, QString message, QString path = {})
        : Failure(Error{kind, std::move(message), std::move(path), std::nullopt}) {}
    const Error& error() const noexcept { return error_; }
    Error::Kind kind() const noexcept { return error_.kind; }
    const QString& message() const noexcept { return error_.message; }
    const char* what() const noexcept override { return what_.c_str(); }

private:
    Error error_;
    std::string what_;
};

// The Error for whatever was thrown: a Failure's own, a memory error for an
// allocation that failed, `what()` for another standard exception, and
// `unexpected` for anything else.
Error errorOf(const std::exception_ptr& thrown, const QString& unexpected);

// The system's reason for an error number, in its own words.
inline QString systemReason(int errorNumber) { return QString::fromLocal8Bit(std::strerror(errorNumber)); }

template <typename T = std::monostate> class Result {
public:
    Result(T value) : value_(std::move(value)) {}     // NOLINT: a value is a success
    Result(Error error) : error_(std::move(error)) {} // NOLINT: an error is a failure
    static Result failure(Error::Kind kind, QString message, QString path = {}) {
        return Result(Error{kind, std::move(message), std::move(path), std::nullopt});
    }
    // Runs `step` and returns its value (none for a step that returns
    // nothing), or the Error of what it threw.
    template <typename Step> static Result of(Step&& step, const QString& unexpected) {
        try {
            if constexpr (std::is_void_v<std::invoke_result_t<Step>>) {
                std::forward<Step>(step)();
                return Result(T{});
            } else {
                return Result(std::forward<Step>(step)());
            }
        } catch (...) {
            return Result(errorOf(std::current_exception(), unexpected));
        }
    }

    bool ok() const { return value_.has_value(); }
    const T& value() const { return *value_; }
    T&& takeValue() { return std::move(*value_); }
    // Of a failure; an empty `other` on success.
    const Error& error() const { return error_; }

private:
    std::optional<T> value_;
    Error error_;
};
