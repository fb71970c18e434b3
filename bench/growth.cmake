# SPDX-License-Identifier: Apache-2.0
#
# How the cost of the daemon's start, of its operations and of zulctl's list grows with what they have to look at.

zul_bench(startup StartUpBench.cpp)
add_executable(zul_bench_list ListFolder.cpp)
zul_link_cxx_library(zul_bench_list)
add_dependencies(zul_bench_startup zul_bench_list zuld)
zul_bench(zulctl ListBench.cpp)
add_dependencies(zul_bench_zulctl zul_bench_list zulctl)

zul_bench(growth GrowthBench.cpp ConfigGrowth.cpp StoreGrowth.cpp)
target_link_libraries(zul_bench_growth PRIVATE zul_daemon)
