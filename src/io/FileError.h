#pragma once

#include <QString>
#include <exception>
#include <string>

// A file operation the system refused, in words for the user: which file,
// and the system's own reason.
class FileError : public std::exception {
public:
    explicit FileError(QString description)
        : description_(std::move(description)), what_(description_.toStdString()) {}
    const QString& description() const noexcept { return description_; }
    const char* what() const noexcept override { return what_.c_str(); }

private:
    QString description_;
    std::string what_;
};
