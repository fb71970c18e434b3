// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "base/Text.h"

namespace zul {

/** An event of this scene type carries a new configuration. */
inline constexpr std::string_view kConfigUpdate = "0xffffffff";

/** A path below it in an event's text is one of the chip vendor's exception databases. */
inline constexpr std::string_view kVendorDatabases = "/data/vendor/aee_exp/";

/** A special trace scene is this text and one type digit. */
inline constexpr std::string_view kSpecialScene = "0xffff100";

/** True for an event that becomes a mark in a kernel trace if it has a text; not in user mode. */
inline bool isSpecialSceneType(std::string_view sceneType) {
    return contains(sceneType, kSpecialScene) && sceneType.size() == kSpecialScene.size() + 1;
}

}  // namespace zul
