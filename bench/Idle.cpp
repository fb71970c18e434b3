// SPDX-License-Identifier: Apache-2.0
//
// Does nothing, linked as the daemon is: what a process of this kind takes in any case.

#include <unistd.h>

int main() {
    pause();
}
