// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Session.h"
#include "zulctl/commands/Commands.h"
#include "zulctl/store/StartFiles.h"

namespace zulctl {

namespace {

Status runTags(Session& session, const Arguments&) {
    const Store* store = session.store();
    if (store == nullptr) return Status::PARTLY;
    Output& out = session.out();
    const Rules rules = rulesOf(readStartFiles(session, *store));
    Table table(out, {{"TAG", 12}, {"LEGAL", 5}, {"FROM", 6}, {"ENTRY", 12}, {"TEXT", 0}});
    for (const auto& [tag, known] : rules.knownTags) {
        const bool legal = rules.legalTags.contains(tag);
        const zul::ConfigEntry* const entry = zul::findConfigEntry(rules.entries, tag);
        if (!out.json()) {
            table.row({tag, legal ? "yes" : "no", known.from, entry != nullptr ? entry->tag : "-",
                       known.text});
            continue;
        }
        JsonObject object;
        object.add("tag", tag).add("legal", legal).add("from", known.from);
        entry != nullptr ? object.add("entry", entry->tag) : object.addNull("entry");
        out.print(object.add("text", known.text));
    }
    out.legend(std::to_string(rules.legalTags.size()) + " legal of " +
               std::to_string(rules.knownTags.size()) + " tags");
    return rules.knownTags.empty() ? Status::NOTHING : Status::FINE;
}

}  // namespace

const Command kTagsCommand = {"tags",
                              "",
                              0,
                              0,
                              "The tags that the next start knows, and which of them are legal",
                              "They come from the tag file, from the build (a user build, which "
                              "shows in the store's folders,\n"
                              "has fixed ones) or from the stored configuration, which can also "
                              "make them illegal. The entry is\n"
                              "that of the configuration which counts for the tag.",
                              {},
                              runTags};

}  // namespace zulctl
