// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>
#include <time.h>

#include <chrono>
#include <map>
#include <set>
#include <string>
#include <thread>
#include <tuple>

#include "sim/Files.h"
#include "sim/Folders.h"

namespace {

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

struct Found {
    std::string path;
    timespec changed;
};
using FilesByName = std::map<std::string, Found>;

bool isRequested(const DatabaseKind& kind) {
    char value[PROPERTY_VALUE_MAX];
    property_get(kind.property, value, "");
    return strcmp(value, "1") == 0;
}

bool belongsTo(const DatabaseKind& kind, const std::string& name) {
    return name.find(kind.names[0]) != std::string::npos ||
           name.find(kind.names[1]) != std::string::npos;
}

bool isNewer(const timespec& one, const timespec& other) {
    return std::tie(one.tv_sec, one.tv_nsec) > std::tie(other.tv_sec, other.tv_nsec);
}

/** The regular files of a kind; of several with one name the newest, as only one can be copied. */
FilesByName findFiles(const DatabaseKind& kind) {
    FilesByName files;
    const sim::FolderWalk walk = sim::walkFolder(kSourceFolder, FTS_NOCHDIR);
    if (walk == nullptr) return files;
    while (const FTSENT* entry = fts_read(walk.get())) {
        if (entry->fts_info != FTS_F || !belongsTo(kind, entry->fts_name)) continue;
        const Found found{entry->fts_path, entry->fts_statp->st_mtim};
        const auto [known, isNew] = files.emplace(entry->fts_name, found);
        if (!isNew && isNewer(found.changed, known->second.changed)) known->second = found;
    }
    return files;
}

/** Copies a file under its own name. Returns an empty text, or what went wrong. */
std::string copy(const std::string& name, const std::string& source) {
    std::string content;
    const std::string target = std::string(kTargetFolder) + "/" + name;
    const int error = sim::readFile(source, SIZE_MAX, &content, O_NOFOLLOW);
    if (error != 0) return source + ": " + strerror(error);
    return sim::replaceFile(target, content, 0644) ? "" : target + ": " + strerror(errno);
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
            if (!mTried.insert(file.path).second) continue;
            const std::string error = copy(name, file.path);
            printf("copier: %s\n",
                   (error.empty() ? "copied " + file.path : "cannot copy " + error).c_str());
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
