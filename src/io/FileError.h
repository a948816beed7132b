#pragma once

#include <QString>
#include <cstring>
#include <exception>
#include <string>

// An error whose description is the text the user sees.
class DescribedError : public std::exception {
public:
    explicit DescribedError(QString description)
        : description_(std::move(description)), what_(description_.toStdString()) {}
    const QString& description() const noexcept { return description_; }
    const char* what() const noexcept override { return what_.c_str(); }

private:
    QString description_;
    std::string what_;
};

// A file operation the system refused: which file, and the system's reason.
class FileError : public DescribedError {
public:
    using DescribedError::DescribedError;
};

// The system's reason for an error number, in its own words.
inline QString systemReason(int errorNumber) { return QString::fromLocal8Bit(std::strerror(errorNumber)); }
