// SPDX-License-Identifier: Apache-2.0
#include "tests/faults/Device.h"

#include <fcntl.h>
#include <linux/futex.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "sim/control/Control.h"

namespace zul::test {

namespace fs = std::filesystem;

namespace {

constexpr char kPage[] = "/tmp/fault_page";
constexpr char kLog[] = "/tmp/daemon.log";
constexpr int kAnswerSeconds = 60;

size_t entries(const std::string& folder) {
    std::error_code error;
    return static_cast<size_t>(std::distance(fs::directory_iterator(folder, error), {}));
}

/** All that `fire` would print; none when the engine does not come to an end. */
std::optional<std::string> ask(const std::vector<std::string>& words) {
    sim::Control engine = sim::Control::connect(kAnswerSeconds);
    if (!engine.send(sim::joinWords(words))) return std::nullopt;
    std::string answer;
    for (std::string line; engine.receive(&line); answer += line + '\n')
        if (line.starts_with(sim::kExit)) return answer;
    return std::nullopt;
}

}  // namespace

Device::Device(const std::string& mode) : mMode(mode) {
    const sim::UniqueFd file(open(kPage, O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (ftruncate(file.get(), sizeof(sim::FaultPage)) != 0) abort();
    mPage = static_cast<sim::FaultPage*>(mmap(nullptr, sizeof(sim::FaultPage),
                                              PROT_READ | PROT_WRITE, MAP_SHARED, file.get(), 0));
}

void Device::startEngine() {
    if (mEngine > 0) {
        kill(mEngine, SIGKILL);
        waitpid(mEngine, nullptr, 0);
    }
    mEngine = fork();
    if (mEngine == 0) {
        const int log = open("/tmp/engine.log", O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
        dup2(log, STDOUT_FILENO);
        execlp("with_socket", "with_socket", "zul_engine_control", "zul_engine", "--mode",
               mMode.c_str(), "--threads", "1", nullptr);
        _exit(127);
    }
    eventually([] { return ask({"status"}).has_value(); });
}

void Device::arm(const Fault& fault) {
    mPage->call = fault.call;
    mPage->error = fault.error;
    mPage->number = fault.number;
    mPage->fired = 0;
    for (auto& seen : mPage->seen)
        seen = 0;
}

void Device::endDaemon() {
    if (isAlive()) {
        kill(mDaemon, SIGKILL);
        waitpid(mDaemon, nullptr, 0);
        mDaemon = -1;
    }
    eventually([this] { return callbacks() == 0; });
}

void Device::startDaemon(const Fault& fault) {
    endDaemon();
    mPage->waiting = 0;
    mPage->told = mPage->asked.load();
    mPage->now = mNow;
    arm(fault);
    mDaemon = fork();
    if (mDaemon != 0) return;
    const int log = open(kLog, O_WRONLY | O_CREAT | O_TRUNC | O_APPEND | O_CLOEXEC, 0600);
    dup2(log, STDERR_FILENO);
    setenv("LD_PRELOAD", "/zul/bin/libzul_faults.so", 1);
    setenv(sim::kPageVariable, kPage, 1);
    execlp("zuld", "zuld", nullptr);
    _exit(127);
}

bool Device::isAlive() {
    if (mDaemon > 0 && waitpid(mDaemon, nullptr, WNOHANG) == mDaemon) mDaemon = -1;
    return mDaemon > 0;
}

bool Device::settle() {
    const std::string tasks = "/proc/" + std::to_string(mDaemon) + "/task";
    const bool settled = eventually([&] {
        // All but the one that looks at the tables.
        const uint32_t waiting = mPage->waiting;
        return !isAlive() || (waiting > 0 && waiting + 1 == entries(tasks));
    });
    return settled && isAlive();
}

size_t Device::callbacks() const {
    size_t number = 0;
    sscanf(ask({"status"}).value_or("").c_str(), "callbacks %zu", &number);
    return number;
}

std::optional<bool> Device::fire(const Event& event) {
    mPage->now = ++mNow;
    const auto answer = ask(event);
    if (!answer) return std::nullopt;
    return answer->find(" ok ") != std::string::npos;
}

size_t Device::openFiles() const {
    std::error_code error;
    const fs::directory_iterator descriptors("/proc/" + std::to_string(mDaemon) + "/fd", error);
    return static_cast<size_t>(std::count_if(descriptors, {}, [&](const auto& entry) {
        return fs::read_symlink(entry, error).string().starts_with('/');
    }));
}

size_t Device::children() const {
    std::error_code error;
    const std::string parent = "\nPPid:\t" + std::to_string(mDaemon) + "\n";
    return static_cast<size_t>(
            std::count_if(fs::directory_iterator("/proc", error), {}, [&](const auto& entry) {
                return readFile(entry.path() / "status").find(parent) != std::string::npos;
            }));
}

std::optional<Tables> Device::tables() {
    const uint32_t asked = ++mPage->asked;
    syscall(SYS_futex, &mPage->asked, FUTEX_WAKE, 1, nullptr, nullptr, 0);
    if (!eventually([&] { return mPage->told == asked; })) return std::nullopt;
    return Tables{mPage->count, mPage->listed};
}

std::string Device::log() const {
    return readFile(kLog);
}

}  // namespace zul::test
