#include "HostCapture.h"

#include <cstdarg>
#include <cstdio>

#include <host/Debug.h>

namespace {

// Nothing is reported before main: the library writes only when called.
std::vector<std::string> traceLog;
std::vector<HostReport> reportLog;
bool abortOnFatal = false;

std::string Format(const char* format, std::va_list args) {
    char text[512];
    std::vsnprintf(text, sizeof text, format, args);
    return text;
}

}  // namespace

const std::vector<std::string>& HostCapture::Traces() { return traceLog; }
const std::vector<HostReport>& HostCapture::Reports() { return reportLog; }

void HostCapture::Clear() {
    traceLog.clear();
    reportLog.clear();
    abortOnFatal = false;
}

void HostCapture::AbortOnFatal() { abortOnFatal = true; }

extern "C" {

// A report always starts with its place; the message completes it.
void dbLineAux(const char* file, int line) { reportLog.push_back({file, line, {}}); }

void dbFatalfAux(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    std::string message = Format(format, args);
    va_end(args);
    if (reportLog.empty() || !reportLog.back().message.empty())
        reportLog.push_back({"<no dbLineAux>", -1, {}});
    reportLog.back().message = message;
    if (abortOnFatal) throw HostAbort{};
}

void dbTimeStampedTracefAux(const char* format, ...) {
    std::va_list args;
    va_start(args, format);
    traceLog.push_back(Format(format, args));
    va_end(args);
}

}
