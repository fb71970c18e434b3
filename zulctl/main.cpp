// SPDX-License-Identifier: Apache-2.0

#include "zulctl/Command.h"

int main(int argc, char** argv) {
    return static_cast<int>(zulctl::run({argv, argv + argc}, stdout, stderr));
}
