#include "tools/vorip/session/failure.h"

#include <ipbase/voripbase.h>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <new>
#include <opencv2/core.hpp>
#include <system_error>

#include "tools/vorip/session/memory.h"
#include "tools/vorip/session/terminal.h"

namespace fs = std::filesystem;

namespace vorip {
namespace {

bool resultsAreInFiles = false;

int Complain(const std::string& text, int exitCode) {
    PrintNotice(text);
    return exitCode;
}

constexpr char kNoThreads[] = "the system gives the program no more threads, or no memory for them (ulimit -u, -v)";

int VerdictOf(void (*program)(int argc, char** argv), int argc, char** argv) try {
    program(argc, argv);
    return kExitDone;
} catch (const Verdict& verdict) {
    return verdict.exitCode;
}

}  // namespace

std::string NotEnoughMemory() {
    const std::string limit = MemoryLimit::InWords();
    return "not enough memory" + (limit.empty() ? limit : ": the run may take " + limit);
}

void ResultsAreInFiles() { resultsAreInFiles = true; }

int ExitCodeOf(void (*program)(int argc, char** argv), int argc, char** argv) {
    try {
        const int exitCode = VerdictOf(program, argc, argv);
        if ((std::fflush(stdout) == 0 && std::ferror(stdout) == 0) || resultsAreInFiles) return exitCode;
        return Complain("standard output cannot be written, and it is the result", kExitNoStandardOutput);
    } catch (const measure::InputError& error) {
        return Complain(error.what(), kExitBadInput);
    } catch (const measure::NothingUsable& error) {
        return Complain(error.what(), kExitNothingUsable);
    } catch (const measure::OutputError& error) {
        return Complain(error.what(), kExitNotWritable);
    } catch (KrN::KrException* thrown) {
        const std::unique_ptr<KrN::KrException> error(thrown);
        return Complain(error->GetText().ToUtf8(), kExitUnexpected);
    } catch (const std::bad_alloc&) {
        return Complain(NotEnoughMemory(), kExitBadInput);
    } catch (const cv::Exception& error) {
        if (error.code == cv::Error::StsNoMem) return Complain(NotEnoughMemory(), kExitBadInput);
        return Complain(error.what(), kExitUnexpected);
    } catch (const fs::filesystem_error& error) {
        const std::string where = error.path1().empty() ? "the current folder" : error.path1().string();
        return Complain(where + ": cannot be used: " + error.code().message(), kExitBadInput);
    } catch (const std::system_error& error) {
        const bool noThread = error.code() == std::errc::resource_unavailable_try_again;
        if (!noThread) return Complain(error.what(), kExitUnexpected);
        return Complain(kNoThreads, kExitBadInput);
    } catch (const std::exception& error) {
        const bool noThread = std::strstr(error.what(), "pthread_create") != nullptr;  // as the pool of OpenCV says it
        if (noThread) return Complain(kNoThreads, kExitBadInput);
        return Complain(error.what(), kExitUnexpected);
    }
}

}  // namespace vorip
