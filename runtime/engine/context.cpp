#include "runtime/engine/context.h"

#include <sys/mman.h>
#include <unistd.h>

#include <new>
#include <utility>

#if defined(__x86_64__)
// What a function must leave as it was is kept on the stack, but for the floating-point units' control words: to store those takes
// longer than all else, so that all contexts share them. It comes back by a return, as it was called, which the processor
// predicts.
asm(R"(
    .pushsection .text
    .globl libzeplSwitch
    .hidden libzeplSwitch
    .type libzeplSwitch, @function
    .balign 64
libzeplSwitch:
    .cfi_startproc
    pushq %rbp
    .cfi_adjust_cfa_offset 8
    pushq %rbx
    .cfi_adjust_cfa_offset 8
    pushq %r12
    .cfi_adjust_cfa_offset 8
    pushq %r13
    .cfi_adjust_cfa_offset 8
    pushq %r14
    .cfi_adjust_cfa_offset 8
    pushq %r15
    .cfi_adjust_cfa_offset 8
    movq %rsp, (%rdi)
    movq %rsi, %rsp
    popq %r15
    .cfi_adjust_cfa_offset -8
    popq %r14
    .cfi_adjust_cfa_offset -8
    popq %r13
    .cfi_adjust_cfa_offset -8
    popq %r12
    .cfi_adjust_cfa_offset -8
    popq %rbx
    .cfi_adjust_cfa_offset -8
    popq %rbp
    .cfi_adjust_cfa_offset -8
    movq %rdi, %rax
    ret
    .cfi_endproc
    .size libzeplSwitch, . - libzeplSwitch

    .type libzeplEnter, @function
    .globl libzeplEnter
    .hidden libzeplEnter
libzeplEnter:
    .cfi_startproc
    .cfi_undefined rip
    movq %rax, %rdi
    callq *%rbx
    ud2
    .cfi_endproc
    .size libzeplEnter, . - libzeplEnter
    .popsection
)");

static_assert(offsetof(libzepl::Context, resumePoint) == 0);

extern "C" void libzeplEnter();
#endif

namespace libzepl {

namespace {

std::size_t pageSize() {
    static const auto size = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    return size;
}

// Wide enough that a frame of ordinary size cannot reach past it.
std::size_t guardSize() { return 16 * pageSize(); }

void unmapStack(void* base, std::size_t size) {
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    // Frames that were left for good are still marked, and what is mapped here next would be taken for them.
    __asan_unpoison_memory_region(base, size);
#endif
    ::munmap(base, size);
}

// The stack of usual size that a thread released last, for its next one: a short session takes less time than the mapping of
// a stack does.
struct SpareStack {
    static constexpr std::size_t most = std::size_t{512} << 10;
    void* base = nullptr;
    std::size_t mapped = 0;
    ~SpareStack() {
        if (base != nullptr) unmapStack(std::exchange(base, nullptr), mapped);
        mapped = most;  // takes nothing more: the thread ends
    }
};
thread_local SpareStack spare;

void* takeSpare(std::size_t size) {
    if (spare.base == nullptr || spare.mapped != size) return nullptr;
    spare.mapped = 0;
    return std::exchange(spare.base, nullptr);
}

// Null when the machine has no memory.
void* mapStack(std::size_t size) {
    void* const base =
        ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (base == MAP_FAILED) return nullptr;
    if (::mprotect(base, guardSize(), PROT_NONE) == 0) return base;
    ::munmap(base, size);
    return nullptr;
}

}  // namespace

Stack::Stack(std::size_t bytes) {
    const std::size_t page = pageSize();
    const std::size_t size = (bytes + page - 1) / page * page + guardSize();
    void* base = takeSpare(size);
    if (base == nullptr) base = mapStack(size);
    if (base == nullptr) return;
#if defined(LIBZEPL_ADDRESS_SANITIZER)
    // Frames of an earlier stack at this place were left for good, and are still marked.
    __asan_unpoison_memory_region(base, size);
#endif
    base_ = base;
    mapped_ = size;
}

Stack::Stack(Stack&& other) noexcept
    : base_(std::exchange(other.base_, nullptr)), mapped_(std::exchange(other.mapped_, 0)) {}

Stack& Stack::operator=(Stack&& other) noexcept {
    std::swap(base_, other.base_);
    std::swap(mapped_, other.mapped_);
    return *this;
}

Stack::~Stack() {
    if (base_ == nullptr) return;
    if (spare.mapped == 0 && mapped_ < SpareStack::most) {
        spare.base = base_;
        spare.mapped = mapped_;
    } else {
        unmapStack(base_, mapped_);
    }
}

std::byte* Stack::bottom() const { return static_cast<std::byte*>(base_) + guardSize(); }

std::size_t Stack::usable() const { return mapped_ - guardSize(); }

bool Stack::guards(const void* address) const {
    const auto* byte = static_cast<const std::byte*>(address);
    return base_ != nullptr && byte >= static_cast<std::byte*>(base_) && byte < bottom();
}

#if defined(__x86_64__)
void* beginContext(std::byte* top, ContextEntry entry) {
    // As libzeplSwitch() leaves it.
    struct Left {
        void* r15;
        void* r14;
        void* r13;
        void* r12;
        ContextEntry rbx;
        void* rbp;
        void (*next)();
    };
    static_assert(sizeof(Left) == 56);
    // After the return, where a function is called, the stack is aligned to 16 bytes.
    auto* const left = new (top - 16 - sizeof(Left)) Left{};
    left->rbx = entry;
    left->next = libzeplEnter;
    return left;
}
#endif

void releaseContext(Context& context) {
#if defined(LIBZEPL_THREAD_SANITIZER)
    if (context.fiber != nullptr) __tsan_destroy_fiber(context.fiber);
#endif
    context.fiber = nullptr;
}

}  // namespace libzepl
