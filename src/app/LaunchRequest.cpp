#include "app/LaunchRequest.h"

namespace {

const QString chooseFilesOption = QStringLiteral("--choose-files");
const QString exportOption = QStringLiteral("--export-with-last-settings");

} // namespace

bool LaunchRequest::isWindowOption(const QString& argument) {
    return argument == chooseFilesOption || argument == exportOption;
}

LaunchRequest LaunchRequest::fromArguments(QStringList arguments) {
    LaunchRequest request;
    if (!arguments.isEmpty() && isWindowOption(arguments.front()))
        request.then = fromKeyword(arguments.takeFirst());
    request.files = arguments;
    return request;
}

QString LaunchRequest::keyword(Then then) {
    switch (then) {
    case Then::chooseFiles: return chooseFilesOption;
    case Then::exportWithLastSettings: return exportOption;
    case Then::nothing: break;
    }
    return QString();
}

LaunchRequest::Then LaunchRequest::fromKeyword(const QString& keyword) {
    for (Then then : {Then::chooseFiles, Then::exportWithLastSettings})
        if (keyword == LaunchRequest::keyword(then))
            return then;
    return Then::nothing;
}
