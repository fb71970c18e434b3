// SPDX-License-Identifier: Apache-2.0

/**
 * setprop NAME VALUE: exit status 0, or 1 when the property cannot be set, or 2 for a wrong call.
 */
#include <cutils/properties.h>

#include <errno.h>
#include <stdio.h>
#include <string.h>

namespace {

const char* reasonOf(int error) {
    switch (error) {
        case EINVAL:
            return "the name is not legal or the value is longer than 91 characters";
        case EEXIST:
            return "it is set already, and a name that starts with \"ro.\" is set once only";
        default:
            return strerror(error);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        fprintf(stderr, "usage: setprop NAME VALUE\n");
        return 2;
    }
    if (property_set(argv[1], argv[2]) != 0) {
        fprintf(stderr, "setprop: cannot set '%s' to '%s': %s\n", argv[1], argv[2],
                reasonOf(errno));
        return 1;
    }
    return 0;
}
