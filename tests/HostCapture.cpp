#include "HostCapture.h"

#include <cstdarg>
#include <cstdio>

#include <host/Debug.h>

namespace {

std::vector<std::string>& TraceLog() {
    static std::vector<std::string> log;
    return log;
}
std::vector<HostReport>& ReportLog() {
    static std::vector<HostReport> log;
    return log;
}

bool abortOnFatal = false;

std::string Format(const char* format, std::va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    return text;
}

}  // namespace

const std::vector<std::string>& HostCapture::Traces() { return TraceLog(); }
const std::vector<HostReport>& HostCapture::Reports() { return ReportLog(); }

void HostCapture::Clear() {
    TraceLog().clear();
    ReportLog().clear();
    abortOnFatal = false;
}

void HostCapture::AbortOnFatal() { abortOnFatal = true; }

extern "C" {

// A report always starts with its place; the message completes it.
void dbLineAux(const char* file, int line) { ReportLog().push_back({file, line, {}}); }

void dbFatalfAux(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string message = Format(format, args);
    va_end(args);
    if (ReportLog().empty() || !ReportLog().back().message.empty())
        ReportLog().push_back({"<no dbLineAux>", -1, {}});
    ReportLog().back().message = message;
    if (abortOnFatal) throw HostAbort{};
}

void dbTimeStampedTracefAux(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    TraceLog().push_back(Format(format, args));
    va_end(args);
}

}
