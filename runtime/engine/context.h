// Stackful contexts of execution: a thin layer over the machine's switch, which is our own on x86-64 and Boost.Context's elsewhere. A context that is left for good is simply never
// resumed. Nothing is ever unwound, so frames on a context's stack must own nothing.
#pragma once

#include <cstddef>
#include <memory>

#if !defined(__x86_64__)
#include <boost/context/detail/fcontext.hpp>
#endif

#if defined(__SANITIZE_ADDRESS__)
#define LIBZEPL_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define LIBZEPL_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define LIBZEPL_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define LIBZEPL_THREAD_SANITIZER 1
#endif
#endif
#if defined(LIBZEPL_THREAD_SANITIZER)
#include <sanitizer/tsan_interface.h>
#endif
#if defined(LIBZEPL_ADDRESS_SANITIZER)
#include <sanitizer/asan_interface.h>
#include <sanitizer/common_interface_defs.h>
#endif

namespace libzepl {

// Memory for a stack, with a guard below it that no access survives.
class Stack {
 public:
    Stack() = default;
    // At least `bytes`; empty when the machine has no memory.
    explicit Stack(std::size_t bytes);
    Stack(Stack&& other) noexcept;
    Stack& operator=(Stack&& other) noexcept;
    ~Stack();

    explicit operator bool() const { return base_ != nullptr; }
    void* top() const { return static_cast<std::byte*>(base_) + mapped_; }
    std::byte* bottom() const;
    std::size_t usable() const;  // bytes
    // Whether an access at `address` means that this stack ran over.
    bool guards(const void* address) const;

 private:
    void* base_ = nullptr;
    std::size_t mapped_ = 0;
};

// A suspended flow of execution.
struct Context {
    void* resumePoint = nullptr;        // the first: the machine's switch stores it
    const void* stackBottom = nullptr;  // for the sanitizers
    std::size_t stackSize = 0;
    void* fakeStack = nullptr;
    void* fiber = nullptr;
};

// What a new context runs; it must never return.
using ContextEntry = void (*)(Context* left);

// The machine's switch: leaves `from`, continues where `to` was left, and returns there what was left for it.
#if defined(__x86_64__)
extern "C" Context* libzeplSwitch(Context* from, void* to);
#else
inline Context* libzeplSwitch(Context* from, void* to) {
    const boost::context::detail::transfer_t transfer = boost::context::detail::jump_fcontext(to, from);
    auto* const left = static_cast<Context*>(transfer.data);
    left->resumePoint = transfer.fctx;
    return left;
}

template <ContextEntry entry>
void enterContext(boost::context::detail::transfer_t transfer) {
    auto* const left = static_cast<Context*>(transfer.data);
    left->resumePoint = transfer.fctx;
    entry(left);
}
#endif

// Where a context that runs `entry` on a stack below `top` begins.
#if defined(__x86_64__)
void* beginContext(std::byte* top, ContextEntry entry);
#endif

// A context that will run `entry` on `stack`, `skipped` bytes (a multiple of 16) below its top, when it is first switched to;
// `entry` calls arrived() before anything else.
template <ContextEntry entry>
Context makeContext(const Stack& stack, std::size_t skipped) {
    auto* const top = static_cast<std::byte*>(stack.top()) - skipped;
    Context context;
#if defined(__x86_64__)
    context.resumePoint = beginContext(top, entry);
#else
    context.resumePoint = boost::context::detail::make_fcontext(top, stack.usable() - skipped, enterContext<entry>);
#endif
    context.stackBottom = stack.bottom();
    context.stackSize = stack.usable();
#if defined(LIBZEPL_THREAD_SANITIZER)
    context.fiber = __tsan_create_fiber(0);
#endif
    return context;
}
// It runs no more.
void releaseContext(Context& context);

// A context runs (again), after `left` has.
inline void arrived([[maybe_unused]] Context* left, [[maybe_unused]] Context& here) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    const void* bottom = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(here.fakeStack, &bottom, &size);
    left->stackBottom = bottom;
    left->stackSize = size;
#endif
}

// Leaves `from`, which a later switch can resume, for `to`.
inline void switchContext(Context& from, Context& to) {
#if defined(LIBZEPL_THREAD_SANITIZER)
    from.fiber = __tsan_get_current_fiber();
    __tsan_switch_to_fiber(to.fiber, 0);
#endif
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(&from.fakeStack, to.stackBottom, to.stackSize);
#endif
    arrived(libzeplSwitch(&from, to.resumePoint), from);
}

// Leaves `from` for good.
[[noreturn]] inline void abandonContext(Context& from, Context& to) {
#if defined(LIBZEPL_THREAD_SANITIZER)
    __tsan_switch_to_fiber(to.fiber, 0);
#endif
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(nullptr, to.stackBottom, to.stackSize);
#endif
    libzeplSwitch(&from, to.resumePoint);
    __builtin_unreachable();
}

}  // namespace libzepl
