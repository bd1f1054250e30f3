#pragma once

#include "../../host/Debug.h"

// A fatal report: where (the reporting source file as the host knows it, and
// the line), then what. The host decides whether dbFatalfAux returns; the
// caller carries on as its operation prescribes.
template <class... Args>
void ReportFatal(const char* file, int line, const char* format, Args... args) {
    dbLineAux(file, line);
    dbFatalfAux(format, args...);
}
