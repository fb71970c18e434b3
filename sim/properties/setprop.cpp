// SPDX-License-Identifier: Apache-2.0

/** setprop NAME VALUE */
#include <cutils/properties.h>
#include <stdio.h>

int main(int argc, char** argv) {
    if (argc == 3 && property_set(argv[1], argv[2]) == 0) return 0;
    fprintf(stderr, "setprop NAME VALUE: %m\n");
    return 1;
}
