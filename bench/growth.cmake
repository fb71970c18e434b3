# SPDX-License-Identifier: Apache-2.0
#
# How the cost of the daemon's start and of its operations grows with what they have to look at.

zul_bench(startup StartUpBench.cpp)
add_executable(zul_bench_list ListFolder.cpp)
# As a C++ program starts: with its library, although it calls nothing of it.
target_link_options(zul_bench_list PRIVATE -Wl,--no-as-needed)
add_executable(zul_bench_list_c ListFolder.cpp)
add_dependencies(zul_bench_startup zul_bench_list zul_bench_list_c zuld)

zul_bench(growth GrowthBench.cpp ConfigGrowth.cpp StoreGrowth.cpp TagGrowth.cpp)
target_link_libraries(zul_bench_growth PRIVATE zul_daemon)
add_dependencies(zul_bench_growth libzulid_config)
