#include "runtime/engine/context.h"

#include <sys/mman.h>
#include <unistd.h>

#include <utility>

#if defined(__x86_64__)
asm(R"(
    .pushsection .text
    .globl libzeplJump
    .hidden libzeplJump
    .type libzeplJump, @function
    .balign 64
libzeplJump:
    leaq 1f(%rip), %rax
    pushq %rax
    jmp *jump_fcontext@GOTPCREL(%rip)
1:  ret
    .size libzeplJump, . - libzeplJump
    .popsection
)");
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

Context makeContext(const Stack& stack, std::size_t skipped, ContextEntry entry) {
    Context context;
    context.resumePoint = boost::context::detail::make_fcontext(static_cast<std::byte*>(stack.top()) - skipped,
                                                                stack.usable() - skipped, entry);
    context.stackBottom = stack.bottom();
    context.stackSize = stack.usable();
#if defined(LIBZEPL_THREAD_SANITIZER)
    context.fiber = __tsan_create_fiber(0);
#endif
    return context;
}

void releaseContext(Context& context) {
#if defined(LIBZEPL_THREAD_SANITIZER)
    if (context.fiber != nullptr) __tsan_destroy_fiber(context.fiber);
#endif
    context.fiber = nullptr;
}

}  // namespace libzepl
