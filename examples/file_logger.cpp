// A logger writing to a file whose name CompleteFile builds.
//
// The logger reports nothing until a level is set; SetFile and CompleteFile
// refuse while the level is eLogNone. A file the logger opened itself is
// closed when the logger is destroyed.
#include <zarncrt_core++.h>

#include <cstdio>
#include <cstdlib>
#include <string>

// Usage: example_file_logger [DIRECTORY]   (default: $TMPDIR, else /tmp)
int main(int argc, char** argv)
{
    QorFileLogger logger;
    logger.SetLogLevel(IQorLogger::eLogInformation);  // fatal, error, warning, info

    const char* tmpdir = std::getenv("TMPDIR");
    std::string where = argc > 1 ? argv[1] : (tmpdir != nullptr && *tmpdir ? tmpdir : "/tmp");
    char* directory = &where[0];
    char extension[16] = "txt";
    // DIRECTORY/example-<pid>.txt: no date, with the process id.
    if (!logger.CompleteFile(directory, "example", extension, "w", false, true)) {
        std::fprintf(stderr, "cannot open the log file\n");
        return 1;
    }
    logger.Information("example", "started with %d workers", 4);
    logger.Warning(__FILE__, __LINE__, "disk %d%% full", 91);
    logger.Debug("example", "not written: above the threshold");

    char path[1024];
    getLogFileName(path, directory, "example", extension, false, true);
    std::printf("wrote %s\n", path);
    return 0;
}
