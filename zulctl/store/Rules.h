// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "rules/ConfigText.h"

namespace zulctl {

class Session;
struct Store;

/** That a store is of a user build, which has fixed tags, shows in its folders. */
bool isOfUserBuild(const Store& store);

/**
 * All of a file that a user names, "-" for the standard input. Nothing, and a problem told, when it
 * cannot be read or is far larger than any configuration.
 */
std::optional<std::string> readText(Session& session, const std::string& name);

/** A tag that the tag file, the build or a configuration names. */
struct KnownTag {
    /** "build", "file" or "config". */
    const char* from = "";
    /** What the tag file has behind it. */
    std::string text;
};

/** What the daemon goes by, from a start on. */
struct Rules {
    std::vector<zul::ConfigEntry> entries;
    /** As in the daemon; their lists stay empty here. */
    zul::LegalTags legalTags;
    /** Legal or not. */
    std::map<std::string, KnownTag> knownTags;

    /** Does what the daemon does with a text's records, at a start or when it is pushed. */
    std::vector<std::vector<size_t>> update(const std::vector<zul::ConfigEntry>& records);
    void update(const std::string& text);
};

/** What the next start of the daemon reads. */
struct StartFiles {
    /** Without a configuration. */
    Rules tags;
    /** The stored configuration, without line ends; nothing where there is none. */
    std::optional<std::string> config;

    /** What a start makes of them. */
    Rules rules() const;
};

/** What is there and cannot be read is told as a problem; of no store there is nothing. */
StartFiles readStartFiles(Session& session, const Store* store);

}  // namespace zulctl
