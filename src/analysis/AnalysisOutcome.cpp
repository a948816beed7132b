#include "analysis/AnalysisOutcome.h"

#include "analysis/AnalysisErrors.h"
#include "analysis/LoudnessAnalyzer.h"

#include <QFileInfo>
#include <new>

namespace {

AnalysisOutcome failed(const QString& text) { return AnalysisOutcome{std::nullopt, text}; }

} // namespace

AnalysisOutcome analyzeFileOutcome(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists())
        return failed(QStringLiteral("File not found"));
    if (info.isDir())
        return failed(QStringLiteral("Is a folder, not an audio file"));
    try {
        return AnalysisOutcome{LoudnessAnalyzer::analyze(path), QString()};
    } catch (const AudioLoaderError& e) {
        return failed(QString::fromStdString(e.description()));
    } catch (const AnalysisError& e) {
        return failed(QString::fromStdString(e.description()));
    } catch (const std::bad_alloc&) {
        return failed(QStringLiteral("Not enough memory to analyse this file"));
    } catch (const std::exception& e) {
        return failed(QString::fromLocal8Bit(e.what()));
    } catch (...) {
        return failed(QStringLiteral("Unexpected error while analysing this file"));
    }
}
