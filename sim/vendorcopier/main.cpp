// SPDX-License-Identifier: Apache-2.0
#include <cutils/properties.h>
#include <errno.h>
#include <fts.h>
#include <signal.h>
#include <stdint.h>
#include <string.h>

#include <chrono>
#include <memory>
#include <set>
#include <string>
#include <thread>

#include "base/Files.h"
#include "sim/Files.h"

namespace {

char kSourceFolder[] = "/data/vendor/aee_exp";
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

bool isRequested(const DatabaseKind& kind) {
    char value[PROPERTY_VALUE_MAX];
    property_get(kind.property, value, "");
    return strcmp(value, "1") == 0;
}

bool belongsTo(const DatabaseKind& kind, const std::string& name) {
    return name.find(kind.names[0]) != std::string::npos ||
           name.find(kind.names[1]) != std::string::npos;
}

/** Copies a file under its own name. Returns an empty text, or what went wrong. */
std::string copy(const std::string& name, const std::string& source) {
    std::string content;
    const std::string target = std::string(kTargetFolder) + "/" + name;
    const int error = sim::readFile(source, SIZE_MAX, &content, O_NOFOLLOW);
    if (error != 0) return source + ": " + strerror(error);
    const bool done = zul::replaceFile(target, content, 0644) == zul::Replacement::DONE;
    return done ? "" : target + ": " + strerror(errno);
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
        char* const paths[] = {kSourceFolder, nullptr};
        const std::unique_ptr<FTS, int (*)(FTS*)> walk(
                fts_open(paths, FTS_PHYSICAL | FTS_NOCHDIR, nullptr), fts_close);
        while (const FTSENT* entry = walk != nullptr ? fts_read(walk.get()) : nullptr) {
            const bool wanted = entry->fts_info == FTS_F && belongsTo(mKind, entry->fts_name);
            if (!wanted || !mTried.insert(entry->fts_path).second) continue;
            const std::string error = copy(entry->fts_name, entry->fts_path);
            printf("copier: %s\n", error.empty() ? entry->fts_path : error.c_str());
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
