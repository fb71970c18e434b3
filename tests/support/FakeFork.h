// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace zul::test {

/** While one lives, no process can be started: fork() and vfork() fail. */
class FailingFork {
  public:
    FailingFork();
    ~FailingFork();
};

}  // namespace zul::test
