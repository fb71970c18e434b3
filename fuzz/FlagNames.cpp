// SPDX-License-Identifier: Apache-2.0

// Input: the scene type in the first line, then the text of flag names.

#include "base/Text.h"
#include "fuzz/support/Fuzz.h"
#include "service/ZulService.h"

namespace zul::fuzz {

namespace {

int64_t allBits(const ZulService::FlagTable& vocabulary) {
    int64_t bits = 0;
    for (const auto& [name, value] : vocabulary)
        bits |= value;
    return bits;
}

}  // namespace

void run(std::string_view input) {
    const std::string sceneType = take(input);
    const std::string names(input);
    const bool isUser = contains(sceneType, "0xffffff");
    const auto& vocabulary = isUser ? ZulService::mUserFlagTable : ZulService::mFlagTable;
    const android::sp<ZulService> service = new ZulService();

    const int64_t mask = service->getZulFlag(names, sceneType);
    require((mask & ~allBits(vocabulary)) == 0, "the mask has bits of its vocabulary only");
    require(ZulService::mFlagValue == mask, "the mask is kept");
    require(service->getZulFlag(names + "|" + names, sceneType) == mask, "twice is once");

    std::string spaced;
    for (const char c : names)
        spaced += std::string(" ") + c + "\n";
    require(service->getZulFlag(spaced, sceneType) == mask, "blanks do not count");

    int64_t pieces = 0;
    for (const std::string& piece : ZulService::supersplit(names, "|"))
        pieces |= service->getZulFlag(piece, sceneType);
    require(pieces == mask, "the mask is that of the single names");

    const auto& [name, value] = *vocabulary.begin();
    require(service->getZulFlag(name + "|" + names, sceneType) == (mask | value),
            "a name adds its bits");
}

}  // namespace zul::fuzz
