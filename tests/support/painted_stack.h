#ifndef TARQLOG_TESTS_SUPPORT_PAINTED_STACK_H_
#define TARQLOG_TESTS_SUPPORT_PAINTED_STACK_H_

#include <pthread.h>
#include <sys/mman.h>

#include <cstddef>
#include <functional>

#include <gtest/gtest.h>

#include "tarqlog/logger.h"
#include "tarqlog/logrecord.h"

namespace tarqlog {

/// Runs `body` on a thread whose stack has `size` bytes and returns how many of them it has
/// touched, counted from the frame that calls it. Below the stack lies a page that nobody may
/// touch.
inline std::size_t StackUsedBy(std::function<void()> const& body, std::size_t size) {
    struct Task {
        std::function<void()> const& body;
        char* stack;
        std::size_t used = 0;

        static void* Run(void* task) {
            static_cast<Task*>(task)->Measure();
            return nullptr;
        }
        void Measure() {
            constexpr unsigned char kPaint = 0xA5;
            constexpr std::size_t kOwn = 512;  // what painting itself needs
            char* const here = static_cast<char*>(__builtin_frame_address(0));
            // Not by a function, whose frame it would paint.
            for (char volatile* place = stack; place < here - kOwn; ++place) {
                *place = static_cast<char>(kPaint);
            }
            body();
            char* lowest = stack;
            while (static_cast<unsigned char>(*lowest) == kPaint) {
                ++lowest;
            }
            used = static_cast<std::size_t>(here - lowest);
        }
    };
    std::size_t const guard = 65536;  // whole pages, whatever their size
    void* const memory = ::mmap(nullptr, guard + size, PROT_READ | PROT_WRITE,
                                MAP_PRIVATE | MAP_ANONYMOUS | MAP_STACK, -1, 0);
    EXPECT_NE(memory, MAP_FAILED);
    EXPECT_EQ(::mprotect(memory, guard, PROT_NONE), 0);
    Task task{body, static_cast<char*>(memory) + guard};
    pthread_attr_t attributes;
    pthread_t thread;
    EXPECT_EQ(::pthread_attr_init(&attributes), 0);
    EXPECT_EQ(::pthread_attr_setstack(&attributes, task.stack, size), 0);
    EXPECT_EQ(::pthread_create(&thread, &attributes, Task::Run, &task), 0);
    EXPECT_EQ(::pthread_join(thread, nullptr), 0);
    ::pthread_attr_destroy(&attributes);
    ::munmap(memory, guard + size);
    return task.used;
}

/// The stack on which a log statement must find its way to the sinks.
constexpr std::size_t kSmallStack = 32768;

/// What `log(logger)` takes of a small stack beside a record's own road to its sinks.
inline std::size_t StackUsedBesideTheRoad(Logger& logger,
                                          std::function<void(Logger& logger)> const& log) {
    auto const used = [&](std::function<void(Logger & logger)> const& body) {
        body(logger);  // the first one resolves symbols
        return StackUsedBy([&] { body(logger); }, kSmallStack);
    };
    std::size_t const road = used([](Logger& sameLogger) {
        if (sameLogger.HasSink(kInfo)) {
            LogRecord record(kInfo);
            record.WriteData("x", 1);
            sameLogger.PushRecord(record);
        }
    });
    EXPECT_GT(road, 0U);
    std::size_t const whole = used(log);
    return whole > road ? whole - road : 0;
}

}  // namespace tarqlog

#endif  // TARQLOG_TESTS_SUPPORT_PAINTED_STACK_H_
