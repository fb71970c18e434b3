// SPDX-License-Identifier: Apache-2.0

#include "zulctl/store/StartFiles.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/Paths.h"
#include "base/Text.h"
#include "rules/ArchiveName.h"
#include "rules/TagFile.h"
#include "zulctl/Session.h"
#include "zulctl/store/Store.h"

namespace zulctl {

namespace {

/** Four times what the daemon reads of a file that it did not write. */
constexpr size_t kMostBytes = 4 * zul::kStartFileLimit;

/** All that can be read of a descriptor; nothing, and errno, when that fails or is too much. */
std::optional<std::string> readAll(int fd) {
    std::string text;
    char block[1 << 16];
    for (;;) {
        const ssize_t count = read(fd, block, sizeof(block));
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) return text;
        text.append(block, static_cast<size_t>(count));
        if (text.size() > kMostBytes) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

std::string nameIn(const char* path) {
    return strrchr(path, '/') + 1;
}

std::optional<std::string> readStored(Session& session, const Store& store, const char* path) {
    const zul::ScopedFd file = store.openFile(nameIn(path).c_str());
    if (!file.ok() && errno == ENOENT) return std::nullopt;
    std::optional<std::string> text;
    if (file.ok()) text = readAll(file.get());
    if (!text) session.problem(std::string(path) + ": " + whyNotOpened(errno));
    return text;
}

/** Only there the folders of user tags have longer names. */
bool isOfUserBuild(const Store& store) {
    const std::string folder = zul::typeFolder(zul::userTags()[0], true);
    struct stat status = {};
    return fstatat(store.outputRoot(), nameIn(folder.c_str()).c_str(), &status,
                   AT_SYMLINK_NOFOLLOW) == 0;
}

}  // namespace

StartFiles readStartFiles(Session& session, const Store& store) {
    StartFiles files;
    files.userBuild = isOfUserBuild(store);
    if (!files.userBuild) {
        const std::optional<std::string> tags = readStored(session, store, zul::kTagFile);
        files.tagLines = zul::split(tags.value_or(""), "\n");
    }
    const std::optional<std::string> config = readStored(session, store, zul::kConfigFile);
    if (config) files.config = zul::joinLines(zul::split(*config, "\n"));
    return files;
}

std::optional<std::string> readText(Session& session, const std::string& name) {
    const bool standardInput = name == "-";
    const zul::ScopedFd opened(standardInput ? -1 : open(name.c_str(), O_RDONLY | O_CLOEXEC));
    std::optional<std::string> text;
    if (standardInput || opened.ok()) text = readAll(standardInput ? STDIN_FILENO : opened.get());
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

Rules rulesOf(const StartFiles& files) {
    Rules rules;
    const auto add = [&rules](const std::string& tag, const char* from, const std::string& text) {
        rules.legalTags.try_emplace(tag);
        rules.knownTags.try_emplace(tag, KnownTag{from, text});
    };
    if (files.userBuild) {
        for (const std::string& tag : zul::userTags())
            add(tag, "build", "");
    }
    for (const std::string& line : files.tagLines) {
        const std::optional<std::string> tag = zul::tagOfLine(line);
        if (tag) add(*tag, "file", line.substr(tag->size() + 1));
    }
    rules.update(files.config.value_or(""));
    return rules;
}

}  // namespace zulctl
