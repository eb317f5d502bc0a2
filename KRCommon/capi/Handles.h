#pragma once

/// \file
/// The handles of the C interface: numbers of one table, behind which the objects are. So a handle that
/// is wrong is found out without looking at any memory, and an object lives until the last call with it
/// is over.
///
/// Threads: any thread at any time. The table is never destroyed: what a host has not given back when the
/// process ends, stays.
/// Exceptions: std::bad_alloc, from add() and give_handle() alone.

#include <KRCommon/capi/Call.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <unordered_map>
#include <utility>

namespace kr_internal::c {

/// What a handle stands for; each kind has its struct of the header.
struct Held {
    virtual ~Held() = default;
    std::atomic<bool> is_in_use{false};
};

/// Of which type of handle; one address for each.
template <typename Handle>
inline constexpr char kind_of = 0;

class Handles {
public:
    static Handles& instance();

    std::uintptr_t add(const void* kind, std::shared_ptr<Held> held);
    /// Null for what is not in the table, or of another kind.
    std::shared_ptr<Held> find(const void* kind, std::uintptr_t number) const;
    /// The same, and the number is no handle any more.
    std::shared_ptr<Held> take(const void* kind, std::uintptr_t number);

private:
    struct Entry {
        const void* kind;
        std::shared_ptr<Held> held;
    };

    mutable std::shared_mutex mutex_;
    std::unordered_map<std::uintptr_t, Entry> entries_;
    std::uintptr_t next_ = 1; // odd, so that none can be the address of an object
};

/// An object of the library behind a handle.
template <typename Value>
struct Held_Value : Held {
    template <typename... Arguments>
    explicit Held_Value(Arguments&&... arguments) : value(std::forward<Arguments>(arguments)...)
    {
    }

    Value value;
};

/// The handle of a call, from its begin to its end.
///
///     const Use<kr_c_sha1, Sha1> sha1(handle);
///     if (sha1.error() != KR_C_OK)
///         return sha1.error();
///     sha1->feed(...);
enum class Sharing { alone, by_all };

template <typename Handle, typename Value, Sharing sharing = Sharing::alone>
class Use {
public:
    explicit Use(const Handle* handle)
    {
        if (handle == nullptr) {
            error_ = KR_C_NULL_ARGUMENT;
            return;
        }
        held_ = std::static_pointer_cast<Held_Value<Value>>(
            Handles::instance().find(&kind_of<Handle>, reinterpret_cast<std::uintptr_t>(handle)));
        if (held_ == nullptr)
            error_ = KR_C_BAD_HANDLE;
        else if (sharing == Sharing::alone && held_->is_in_use.exchange(true))
            error_ = KR_C_IN_USE;
    }

    ~Use()
    {
        if (sharing == Sharing::alone && held_ != nullptr && error_ == KR_C_OK)
            held_->is_in_use = false;
    }

    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;

    [[nodiscard]] kr_c_error error() const noexcept { return error_; }
    [[nodiscard]] Value& operator*() const noexcept { return held_->value; }
    [[nodiscard]] Value* operator->() const noexcept { return &held_->value; }

private:
    std::shared_ptr<Held_Value<Value>> held_;
    kr_c_error error_ = KR_C_OK;
};

/// Makes the object and its handle.
template <typename Handle, typename Value, typename... Arguments>
kr_c_error give_handle(Handle** out, Arguments&&... arguments)
{
    auto held = std::make_shared<Held_Value<Value>>(std::forward<Arguments>(arguments)...);
    const std::uintptr_t number = Handles::instance().add(&kind_of<Handle>, std::move(held));
    *out = reinterpret_cast<Handle*>(number); // NOLINT(performance-no-int-to-ptr)
    return KR_C_OK;
}

/// Takes the handle out of the table and sets it to null. Null when it is none.
template <typename Handle, typename Value>
std::shared_ptr<Held_Value<Value>> take_handle(Handle** handle)
{
    auto held = std::static_pointer_cast<Held_Value<Value>>(
        Handles::instance().take(&kind_of<Handle>, reinterpret_cast<std::uintptr_t>(*handle)));
    if (held != nullptr)
        *handle = nullptr;
    return held;
}

/// What every ..._destroy() does.
template <typename Handle, typename Value>
kr_c_error destroy_handle(Handle** handle)
{
    return run([&]() -> kr_c_error {
        if (handle == nullptr)
            return KR_C_NULL_ARGUMENT;
        if (*handle == nullptr)
            return KR_C_OK;
        return take_handle<Handle, Value>(handle) != nullptr ? KR_C_OK : KR_C_BAD_HANDLE;
    });
}

} // namespace kr_internal::c
