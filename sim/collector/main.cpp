// SPDX-License-Identifier: Apache-2.0

/**
 * zul_dumpstate: the stand-in for the device's collector.
 *
 * Takes exactly ten arguments, the first of which is the output folder and not a program's name:
 * folder, mask, process, extra text, tag, event type, event subtype, command, capture time, process
 * list. It writes the arguments to the file `arguments` in the folder, adds the data that the mask
 * asks for, packs everything to `<folder>.zul` and removes the folder. The folder must be empty,
 * because it is removed. Where the first argument is no absolute path of a folder there is nothing
 * to gather into: the record of the arguments then becomes the file /data/ZUL/last_collector.
 *
 * Exit status: 0, or 1 when the capture could not be written, or 2 for a wrong call.
 *
 * Tests tell it what to do with lines in /data/ZUL/collector_orders, obeyed in order before the
 * work:
 *   exit N         end at once with this status
 *   sleep SECONDS  pause; a fraction is allowed
 *   signal N       send itself this signal, with its default effect
 *   record         append to /data/ZUL/collector_record: `arguments COUNT`, the arguments as in their
 *                  file, `fd N TARGET` for each open descriptor, the signals that it ignores as the
 *                  kernel prints them, `end`
 *   quick          skip the work, and leave the folder as it is
 */
#include <errno.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>

#include <string>

#include "base/Files.h"
#include "sim/collector/Archive.h"
#include "sim/collector/Arguments.h"
#include "sim/collector/Gather.h"
#include "sim/collector/Orders.h"
#include "sim/collector/OutputFolder.h"

namespace {

constexpr const char* kLastCollector = "/data/ZUL/last_collector";

enum ExitStatus { DONE = 0, FAILED = 1, WRONG_CALL = 2 };

bool isFolder(const std::string& path) {
    struct stat info {};
    return path.starts_with('/') && lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

int complain(const std::string& path, const char* what) {
    fprintf(stderr, "zul_dumpstate: %s: %s\n", path.c_str(), what);
    return FAILED;
}

int capture(const sim::Request& request, const std::string& record) {
    const sim::OutputFolder folder(request.folder);
    if (!folder.isOpen()) return complain(request.folder, strerror(errno));
    if (!folder.isEmpty()) {
        return complain(request.folder, "the folder is not empty and is left as it is");
    }
    folder.add("arguments", record);
    sim::gather(request, folder);
    return sim::replaceByArchive(request.folder) ? DONE : FAILED;
}

}  // namespace

int main(int argc, char** argv) {
    const sim::NextStep next = sim::obeyOrders(argc, argv);
    if (next == sim::NextStep::REFUSE) return WRONG_CALL;
    if (argc != sim::kArgumentCount) {
        fprintf(stderr,
                "zul_dumpstate: %d arguments instead of %d, the output folder being the first\n",
                argc, sim::kArgumentCount);
        return WRONG_CALL;
    }
    if (next == sim::NextStep::SKIP_WORK) return DONE;

    auto request = sim::parseRequest(argv);
    if (!request) return WRONG_CALL;
    const std::string record = sim::recordOfArguments(argc, argv);
    if (!isFolder(request->folder)) {
        return zul::replaceFile(kLastCollector, record, 0600) == zul::Replacement::DONE
                       ? DONE
                       : complain(kLastCollector, strerror(errno));
    }
    while (request->folder.size() > 1 && request->folder.ends_with('/'))
        request->folder.pop_back();
    return capture(*request, record);
}
