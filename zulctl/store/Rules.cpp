// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/Rules.h"

#include <dlfcn.h>
#include <errno.h>
#include <string.h>
#include <sys/stat.h>

#include "base/Paths.h"
#include "base/Text.h"
#include "rules/TagFile.h"
#include "zulctl/Session.h"

namespace zulctl {

namespace {

/** Four times what the daemon reads of a file that it did not write. */
constexpr size_t kMostBytes = 4 * zul::kStartFileLimit;

/** All of a file; nothing, and errno, when it was not opened, cannot be read or is too much. */
std::optional<std::string> readWhole(const zul::ScopedFd& file) {
    if (!file.ok()) return std::nullopt;
    std::string text;
    char block[1 << 16];
    for (;;) {
        const ssize_t count = read(file.get(), block, sizeof(block));
        if (count < 0 && errno == EINTR) continue;
        if (count == 0) return text;
        if (count > 0) text.append(block, static_cast<size_t>(count));
        if (text.size() > kMostBytes) errno = EFBIG;
        if (count < 0 || text.size() > kMostBytes) return std::nullopt;
    }
}

std::optional<std::string> readStored(Session& session, const Store& store, const char* path) {
    auto text = readWhole(openRegularAt(store.outputRoot.get(), strrchr(path, '/') + 1));
    if (!text && errno != ENOENT) session.problem(std::string(path) + ": " + whyNotOpened(errno));
    return text;
}

}  // namespace

bool isOfUserBuild(const Store& store) {
    // Only there the folders of user tags have longer names.
    struct stat status = {};
    return fstatat(store.outputRoot.get(), "0xffffff", &status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::optional<std::string> readText(Session& session, const std::string& name) {
    auto text = readWhole(openNamed(name));
    if (!text) session.problem(name + ": " + strerror(errno));
    return text;
}

std::vector<std::vector<size_t>> Rules::update(const std::vector<zul::ConfigEntry>& records) {
    auto became = zul::mergeConfig(records, entries, legalTags);
    for (const auto& [tag, archives] : legalTags)
        knownTags.try_emplace(tag, KnownTag{"config", ""});
    return became;
}

void Rules::update(const std::string& text) {
    update(zul::parseConfig(text, [](auto&&...) {}));
}

Rules StartFiles::rules() const {
    Rules rules = tags;
    rules.update(config.value_or(""));
    return rules;
}

StartFiles readStartFiles(Session& session, const Store* store) {
    StartFiles files;
    if (store == nullptr) return files;
    const auto add = [&files](const std::string& tag, const KnownTag& known) {
        files.tags.legalTags.try_emplace(tag);
        files.tags.knownTags.try_emplace(tag, known);
    };
    if (isOfUserBuild(*store)) {
        for (const std::string& tag : zul::userTags())
            add(tag, {"build", ""});
    } else {
        const auto text = readStored(session, *store, zul::kTagFile).value_or("");
        for (const std::string& line : zul::split(text, "\n")) {
            const std::optional<std::string> tag = zul::tagOfLine(line);
            if (tag) add(*tag, {"file", line.substr(tag->size() + 1)});
        }
    }
    files.config = readStored(session, *store, zul::kConfigFile);
    if (files.config) files.config = zul::joinLines(zul::split(*files.config, "\n"));
    return files;
}

TagLibrary::TagLibrary(const Store& store) {
    void* const library = store.isCopy ? nullptr : dlopen(zul::kTagLibrary, RTLD_NOW);
    if (library == nullptr) return;
    mGetRowByKey = reinterpret_cast<GetRowByKey>(dlsym(library, "getRowByKey"));
}

const zul::RowData* TagLibrary::find(const std::string& tag) {
    if (mGetRowByKey == nullptr) return nullptr;
    const auto [known, isNew] = mRows.try_emplace(tag);
    if (const zul::RowData* row = isNew ? mGetRowByKey(tag) : nullptr) known->second = *row;
    return known->second.tagId.empty() ? nullptr : &known->second;
}

std::string describe(const zul::RowData* row) {
    if (row == nullptr) return "";
    std::string text = row->eventType;
    if (!row->eventSubType.empty()) text += (text.empty() ? "" : "/") + row->eventSubType;
    return text;
}

}  // namespace zulctl
