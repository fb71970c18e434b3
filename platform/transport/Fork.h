// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace transport {

/** True in a child that was forked from a process that uses this layer. */
bool isForkedChild();

/** Ends such a child: its locks are its parent's. */
void abortInForkedChild();

}  // namespace transport
