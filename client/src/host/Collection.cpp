#include "Collection.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <x86intrin.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "LinuxPluginProtocol.h"
#include "MachineProbe.h"

extern char** environ;

namespace vantrell {
namespace {

using Clock = std::chrono::steady_clock;

enum Command : int { kStart = 1, kPoll = 2, kStop = 3 };

// The worker's side: calls the collectors and gathers what they hand over.
class CollectorActor : public pwr::VRThreadActor {
  public:
    CollectorActor(CollectionPlan const& plan, pwr::SystemMetadata const& machine)
        : plan(plan), machine(machine) {}

    int handleCommand(int command, unsigned, const void*, int& result) override {
        for (auto const& [collector, messages] : plan.messages) {
            int status = 0;
            if (command == kStart) {
                status = collector->startCollection(messages, machine);
            } else if (command == kPoll) {
                status = collector->pollOnce();
            } else if (command == kStop) {
                status = collector->stopCollection();
            }
            result = result != 0 ? result : status;
            gather(*collector);
        }
        return 0;
    }
    int onKill() override { return 0; }
    int init() override { return 0; }

    // What the collectors handed over since the last take.
    std::vector<char> take() {
        std::lock_guard<std::mutex> lock(mutex);
        std::vector<char> bytes;
        bytes.swap(pending.bytes);
        return bytes;
    }

  private:
    void gather(CollectorPlugin& collector) {
        CollectionData data;
        std::lock_guard<std::mutex> lock(mutex);
        collector.getContinuousResult(pending, data);
    }

    CollectionPlan const& plan;
    pwr::SystemMetadata const& machine;
    std::mutex mutex;
    pwr::VRBuffer pending;
};

sigset_t collectionSignals() {
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGINT);
    sigaddset(&set, SIGTERM);
    sigaddset(&set, SIGCHLD);
    return set;
}

// Waits until `deadline` or an ending signal; true when the collection should end. A SIGCHLD ends
// it only when it is the program's exit.
bool waitUntil(Clock::time_point deadline, pid_t program) {
    const sigset_t set = collectionSignals();
    for (;;) {
        const auto left = deadline - Clock::now();
        if (left <= Clock::duration::zero()) {
            return false;
        }
        const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
        timespec timeout{static_cast<time_t>(ns / 1000000000), static_cast<long>(ns % 1000000000)};
        const int signal = sigtimedwait(&set, nullptr, &timeout);
        if (signal == SIGINT || signal == SIGTERM) {
            return true;
        }
        if (signal == SIGCHLD && program > 0 && waitpid(program, nullptr, WNOHANG) == program) {
            return true;
        }
    }
}

Clock::duration seconds(double value) {
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(value));
}

pid_t startProgram(std::vector<std::string> const& program) {
    std::vector<char*> argv;
    for (std::string const& arg : program) {
        argv.push_back(const_cast<char*>(arg.c_str()));
    }
    argv.push_back(nullptr);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t pid = 0;
    const int status = posix_spawnp(&pid, argv[0], nullptr, &attributes, argv.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (status != 0) {
        std::fprintf(stderr, "vantrell: --program: can't start %s: %s\n", argv[0], std::strerror(status));
        return -1;
    }
    return pid;
}

}  // namespace

void blockCollectionSignals() {
    const sigset_t set = collectionSignals();
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
}

int runCollection(CollectionPlan const& plan, pwr::SystemMetadata& machine, MessageSink const& sink) {
    const Clock::time_point begin = Clock::now();
    if (plan.startDelaySec > 0 && waitUntil(begin + seconds(plan.startDelaySec), -1)) {
        return 0;
    }
    CollectorActor actor(plan, machine);
    pwr::VRThread worker(actor, 0, nullptr);
    if (worker.init() != 0 || worker.start() != 0) {
        std::fprintf(stderr, "vantrell: the collection thread can't be started\n");
        return 1;
    }
    auto deliver = [&] {
        std::vector<char> bytes = actor.take();
        if (!bytes.empty()) {
            sink(bytes);
        }
    };
    machine.startTimeval = wallClockNs();
    machine.startTSC = __rdtsc();
    worker.signal(kStart, true, true);
    deliver();

    const Clock::time_point started = Clock::now();
    const Clock::time_point end =
        plan.timeSec > 0 ? started + seconds(plan.timeSec) : Clock::time_point::max();
    const auto interval = std::chrono::milliseconds(plan.intervalMs);
    int status = 0;
    pid_t program = -1;
    bool done = false;
    if (!plan.program.empty()) {
        done = plan.programDelaySec > 0 && waitUntil(started + seconds(plan.programDelaySec), -1);
        program = done ? -1 : startProgram(plan.program);
        status = program < 0 && !done ? 1 : 0;
        done = done || program < 0;
    }
    // Ticks on a fixed grid from the start, so that a slow poll doesn't shift later ones.
    for (Clock::time_point tick = started + interval; !done;) {
        done = waitUntil(std::min(tick, end), program);
        if (done || Clock::now() >= end) {
            break;
        }
        worker.signal(kPoll, true, true);
        deliver();
        while (tick <= Clock::now()) {
            tick += interval;
        }
    }
    worker.signal(kStop, true, true);
    machine.stopTSC = __rdtsc();
    machine.stopTimeval = wallClockNs();
    deliver();
    worker.kill();
    worker.join();
    // A program that outlives the collection is ended; one that ended was reaped by the wait.
    if (program > 0 && waitpid(program, nullptr, WNOHANG) == 0) {
        kill(program, SIGTERM);
        waitpid(program, nullptr, 0);
    }
    return status;
}

}  // namespace vantrell
