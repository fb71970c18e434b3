// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <system_error>
#include <thread>

#include "sim/vendorcopier/FileCopy.h"

namespace {

namespace fs = std::filesystem;

constexpr char kSourceFolder[] = "/data/vendor/aee_exp";
constexpr char kTargetFolder[] = "/data/ZUL";
// A requester looks for its copies one second after the request.
constexpr std::chrono::milliseconds kPollPeriod{50};

/** One kind of database: who asks for it, and what its files' names contain. */
struct DatabaseKind {
    const char* property;
    const char* names[2];
};

constexpr DatabaseKind kKinds[] = {
        {"debug.zul.aee.db.08ee", {"db.fatal.08.EE.dbg", "fatal.scp.00.dbg"}},
        {"debug.zul.aee.db.connsysdump", {"db.fatal.connsysdump.dbg", "fatal.connsysdump.00.dbg"}},
};

using FilesByName = std::map<std::string, fs::directory_entry>;

bool isRequested(const DatabaseKind& kind) {
    char value[PROPERTY_VALUE_MAX];
    property_get(kind.property, value, "");
    return strcmp(value, "1") == 0;
}

bool belongsTo(const DatabaseKind& kind, const std::string& name) {
    return name.find(kind.names[0]) != std::string::npos ||
           name.find(kind.names[1]) != std::string::npos;
}

/** The regular files of a kind; of several with one name the newest, as only one can be copied. */
FilesByName findFiles(const DatabaseKind& kind) {
    FilesByName files;
    std::error_code error;
    const auto options = fs::directory_options::skip_permission_denied;
    for (fs::recursive_directory_iterator it(kSourceFolder, options, error), end;
         !error && it != end; it.increment(error)) {
        const std::string name = it->path().filename();
        std::error_code ignored;
        if (!belongsTo(kind, name) || !fs::is_regular_file(it->symlink_status(ignored))) {
            continue;
        }
        const auto [known, isNew] = files.emplace(name, *it);
        if (!isNew && known->second.last_write_time(ignored) < it->last_write_time(ignored)) {
            known->second = *it;
        }
    }
    return files;
}

/** The copying for one kind: each file once in each request. */
class Copier {
  public:
    explicit Copier(const DatabaseKind& kind) : mKind(kind) {}

    void poll() {
        if (!isRequested(mKind)) {
            mTried.clear();
            return;
        }
        for (const auto& [name, file] : findFiles(mKind)) {
            if (!mTried.insert(file.path()).second) {
                continue;
            }
            const std::string error = sim::copyIntoFolder(file.path(), kTargetFolder);
            if (error.empty()) {
                printf("copier: copied %s\n", file.path().c_str());
            } else {
                printf("copier: cannot copy %s\n", error.c_str());
            }
        }
    }

  private:
    const DatabaseKind& mKind;
    std::set<std::string> mTried;
};

}  // namespace

int main() {
    setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
    signal(SIGPIPE, SIG_IGN);
    Copier copiers[] = {Copier(kKinds[0]), Copier(kKinds[1])};
    printf("copier: ready\n");
    for (;;) {
        for (Copier& copier : copiers) {
            copier.poll();
        }
        std::this_thread::sleep_for(kPollPeriod);
    }
}
