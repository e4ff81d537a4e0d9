// A file logger for --log that notices lost records.
#ifndef WORDINDEX_REPORTINGLOGGER_H
#define WORDINDEX_REPORTINGLOGGER_H

#include <atomic>
#include <string>
#include <utility>

#include "log/QorFileLogger.h"

namespace wordindex {

// A QorFileLogger that notices when the records of a --log file cannot be
// written (a full disk, /dev/full) and says so once on standard error: the
// records are lost from then on, and the exit status tells. Records on
// standard error are not checked (there is nowhere left to say it).
class ReportingLogger : public QorFileLogger {
public:
    // name: the --log file; empty for standard error.
    explicit ReportingLogger(std::string name) : name(std::move(name)) {}

    void PrintLog(tagELogLevel level, char const* source, int line, char const* text) override;

    // A record could not be written.
    bool writeFailed() const;

private:
    std::string name;
    std::atomic<bool> failed{false};
};

}  // namespace wordindex

#endif
