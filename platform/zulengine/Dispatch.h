// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <stdint.h>

#include <tuple>
#include <utility>

/**
 * What `serve` gives for the method of an interface that has this code; `unknown` when none has. `methods`
 * are pairs of a code and a pointer to a method.
 */
template <typename... Methods, typename Serve>
int32_t dispatch(uint32_t code, const std::tuple<Methods...>& methods, int32_t unknown,
                 const Serve& serve) {
    int32_t status = unknown;
    const auto serveIfAsked = [&](const auto& method) {
        if (method.first == code) status = serve(method.second);
    };
    std::apply([&](const auto&... method) { (serveIfAsked(method), ...); }, methods);
    return status;
}
