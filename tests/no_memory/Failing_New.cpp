#include <tests/no_memory/Failing_New.h>

#include <cstdlib>
#include <new>

namespace {

thread_local bool is_armed = false;
thread_local bool fails_all = false;
thread_local bool did_fail = false;
thread_local int left = 0;

void* allocate(std::size_t size)
{
    if (is_armed && left-- <= 0 && (fails_all || !did_fail)) {
        did_fail = true;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

void* allocate_or_throw(std::size_t size)
{
    if (void* const memory = allocate(size))
        return memory;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size)
{
    return allocate_or_throw(size);
}

void* operator new[](std::size_t size)
{
    return allocate_or_throw(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size);
}

void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    return allocate(size);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete[](void* memory, std::size_t) noexcept
{
    std::free(memory);
}

Failing_New::Failing_New(int first, Extent extent) noexcept
{
    left = first;
    fails_all = extent == rest;
    did_fail = false;
    is_armed = true;
}

Failing_New::~Failing_New()
{
    is_armed = false;
}

bool Failing_New::has_failed() const noexcept
{
    return did_fail;
}
