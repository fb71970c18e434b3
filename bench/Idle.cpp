// SPDX-License-Identifier: Apache-2.0
//
// Does nothing, with the daemon's libraries: what a process of this kind takes in any case.

#include <unistd.h>

int main() {
    pause();
}
