// Stackful contexts of execution: a thin layer over the machine's switch. A context that is left for good is simply never
// resumed. Nothing is ever unwound, so frames on a context's stack must own nothing.
#pragma once

#include <boost/context/detail/fcontext.hpp>
#include <cstddef>
#include <memory>

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
    boost::context::detail::fcontext_t resumePoint = nullptr;
    const void* stackBottom = nullptr;  // for the sanitizers
    std::size_t stackSize = 0;
    void* fakeStack = nullptr;
    void* fiber = nullptr;
};

// What a new context runs; it must never return.
using ContextEntry = void (*)(boost::context::detail::transfer_t);

// A context that will run `entry` on `stack`, `skipped` bytes (a multiple of 16) below its top, when it is first switched to;
// `entry` calls arrived() before anything else.
Context makeContext(const Stack& stack, std::size_t skipped, ContextEntry entry);
// It runs no more.
void releaseContext(Context& context);

// The machine's jump between contexts.
#if defined(__x86_64__)
// It comes back by a return, as it was called: the library's jump alone comes back by another jump, which leaves the
// processor's predictions of all later returns wrong.
extern "C" boost::context::detail::transfer_t libzeplJump(boost::context::detail::fcontext_t to, void* data);
#else
inline boost::context::detail::transfer_t libzeplJump(boost::context::detail::fcontext_t to, void* data) {
    return boost::context::detail::jump_fcontext(to, data);
}
#endif

// Tells the context that was left where to continue, once the new one runs.
inline void arrived(boost::context::detail::transfer_t transfer, Context& here) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    const void* bottom = nullptr;
    std::size_t size = 0;
    __sanitizer_finish_switch_fiber(here.fakeStack, &bottom, &size);
    auto* left = static_cast<Context*>(transfer.data);
    left->stackBottom = bottom;
    left->stackSize = size;
#endif
    static_cast<void>(here);
    static_cast<Context*>(transfer.data)->resumePoint = transfer.fctx;
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
    arrived(libzeplJump(to.resumePoint, &from), from);
}

// Leaves `from` for good.
[[noreturn]] inline void abandonContext(Context& from, Context& to) {
#if defined(LIBZEPL_THREAD_SANITIZER)
    __tsan_switch_to_fiber(to.fiber, 0);
#endif
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    __sanitizer_start_switch_fiber(nullptr, to.stackBottom, to.stackSize);
#endif
    boost::context::detail::jump_fcontext(to.resumePoint, &from);
    __builtin_unreachable();
}

}  // namespace libzepl
