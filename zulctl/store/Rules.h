// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "rules/ConfigText.h"
#include "rules/RowData.h"
#include "zulctl/store/Store.h"

namespace zulctl {

class Session;

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

/** What the tag library of a store's device says: nothing at all in a copy, or where there is none. */
class TagLibrary {
  public:
    explicit TagLibrary(const Store& store);
    /** The row of a tag, which stays good as long as this object; null for none. */
    const zul::RowData* find(const std::string& tag);

  private:
    using GetRowByKey = const zul::RowData* (*)(const std::string&);

    GetRowByKey mGetRowByKey = nullptr;
    std::map<std::string, zul::RowData> mRows;
};

/** A row in a few words; empty for none. */
std::string describe(const zul::RowData* row);

}  // namespace zulctl
