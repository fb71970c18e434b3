// SPDX-License-Identifier: Apache-2.0

#include "tests/support/LogCapture.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include "tests/support/LogLine.h"

namespace zul::test {

LogCapture::LogCapture()
      : mFile(memfd_create("log", MFD_CLOEXEC)), mStderr(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    // Threads and children write at once: only appending keeps their lines apart.
    fcntl(mFile, F_SETFL, O_APPEND);
    dup2(mFile, STDERR_FILENO);
}

void LogCapture::release() {
    dup2(mStderr, STDERR_FILENO);
}

LogCapture::~LogCapture() {
    release();
    close(mStderr);
    close(mFile);
}

std::vector<std::string> LogCapture::take() {
    std::string text(static_cast<size_t>(lseek(mFile, 0, SEEK_END) - mRead), '\0');
    const ssize_t count = pread(mFile, text.data(), text.size(), mRead);
    mRead += count;

    std::vector<std::string> lines;
    size_t start = 0;
    while (start < text.size()) {
        const size_t end = std::min(text.find('\n', start), text.size());
        const auto line = parseLogLine(text.substr(start, end - start));
        if (line && line->isOfDaemon()) lines.push_back(line->priority + (" " + line->text));
        start = end + 1;
    }
    return lines;
}

std::vector<std::string> LogCapture::takeAboveDebug() {
    std::vector<std::string> lines = take();
    std::erase_if(lines, [](const std::string& line) { return line[0] == 'D'; });
    return lines;
}

}  // namespace zul::test
