#pragma once

#include "analysis/AnalysisResult.h"
#include "analysis/ChannelMix.h"
#include "io/Error.h"

#include <QString>
#include <stop_token>

// The result of analysing one file, or the text its row shows instead.
using FileAnalysis = Result<AnalysisResult>;

// Analyses one file and never throws: a missing file, a folder, a decoder or
// analysis error, running out of memory and a stop all come back as the error.
FileAnalysis analyzeFile(const QString& path, ChannelMix mix = ChannelMix::sum, std::stop_token stop = {});
