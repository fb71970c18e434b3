// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zul {

/**
 * Start-up: ends the history's last line where it has no end. A daemon that is killed may leave such a
 * line, as the kernel then ends a write between two pages.
 */
void endTornRecord();

}  // namespace zul
