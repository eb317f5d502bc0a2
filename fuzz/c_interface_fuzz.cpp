// The functions of the C interface in any order, with any arguments that the rules of krcommon_c.h allow,
// and handles of any kind and age. Whatever is called must answer with a code that has a text.

#include <KRCommon/capi/Functions_testing.h>
#include <KRCommon/capi/krcommon_c.h>

#include <ace/Log_Msg.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

namespace {

using kr_c_testing::call;
using kr_c_testing::each_function;
using kr_c_testing::has_size;
using kr_c_testing::is_handle;

void require(bool holds, const char* what, const char* name)
{
    if (holds)
        return;
    std::fprintf(stderr, "%s: %s\n", name, what);
    std::abort();
}

// All handles that were ever given for an input, and their kinds.
class Handles {
public:
    void** slot(const void* kind)
    {
        slots_.push_back(std::make_unique<Slot>(Slot{kind, nullptr}));
        return &slots_.back()->handle;
    }

    [[nodiscard]] void* any(std::size_t index) const
    {
        return slots_.empty() ? nullptr : slots_[index % slots_.size()]->handle;
    }

    [[nodiscard]] void* of(const void* kind, std::size_t index) const
    {
        for (std::size_t i = 0; i < slots_.size(); ++i) {
            const Slot& slot = *slots_[(index + i) % slots_.size()];
            if (slot.kind == kind)
                return slot.handle;
        }
        return nullptr;
    }

    // By every function for it: one fits.
    void give_back()
    {
        for (const auto& slot : slots_) {
            kr_c_record_destroy(reinterpret_cast<kr_c_owned_record*>(&slot->handle));
            kr_c_sha1_destroy(reinterpret_cast<kr_c_owned_sha1*>(&slot->handle));
            kr_c_url_destroy(reinterpret_cast<kr_c_owned_url*>(&slot->handle));
            kr_c_colors_destroy(reinterpret_cast<kr_c_owned_colors*>(&slot->handle));
            kr_c_configuration_destroy(reinterpret_cast<kr_c_owned_configuration*>(&slot->handle));
            kr_c_event_log_destroy(reinterpret_cast<kr_c_owned_event_log*>(&slot->handle));
            kr_c_log_close(reinterpret_cast<kr_c_owned_log*>(&slot->handle));
        }
    }

private:
    struct Slot {
        const void* kind;
        void* handle;
    };
    std::vector<std::unique_ptr<Slot>> slots_;
};

// Arguments of the input's bytes. An array has exactly `room` elements where bytes are read or written, so
// that a sanitizer sees what is beyond them, and plenty where structs and numbers are.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}

    [[nodiscard]] bool is_empty() const { return size_ == 0; }

    std::uint8_t byte()
    {
        if (size_ == 0)
            return 0;
        --size_;
        return *data_++;
    }

    void begin_call()
    {
        blocks_.clear();
        room_ = byte() % (largest_room + 1);
    }

    template <typename Type>
    Type make()
    {
        if constexpr (std::is_pointer_v<Type>)
            return byte() % 16 == 0 ? nullptr : pointer<std::remove_pointer_t<Type>>();
        else if constexpr (std::is_same_v<Type, kr_c_size>)
            return some_size();
        else if constexpr (std::is_same_v<Type, kr_c_step>)
            return static_cast<kr_c_step>(byte() % 9);
        else if constexpr (std::is_same_v<Type, float>)
            return static_cast<float>(byte()) * 3 - 100;
        else
            return number<Type>();
    }

    Handles handles;

private:
    static constexpr std::size_t largest_room = 200;

    std::size_t some_size()
    {
        switch (byte() % 8) {
        case 0: return 0;
        case 1: return std::numeric_limits<std::size_t>::max();
        case 2: return std::size_t{PTRDIFF_MAX} + 1;
        case 3: return room_ / 2;
        default: return room_;
        }
    }

    template <typename Type>
    Type number()
    {
        switch (byte() % 8) {
        case 0: return std::numeric_limits<Type>::max();
        case 1: return std::numeric_limits<Type>::min();
        case 2: return static_cast<Type>(-1);
        case 3: {
            Type any{};
            fill(&any, sizeof any);
            return any;
        }
        default: return static_cast<Type>(byte() % 16);
        }
    }

    void fill(void* to, std::size_t size)
    {
        const std::size_t taken = std::min(size, size_);
        std::memset(to, 0, size);
        if (taken > 0)
            std::memcpy(to, data_, taken);
        data_ += taken;
        size_ -= taken;
    }

    unsigned char* block(std::size_t size)
    {
        blocks_.push_back(std::make_unique<unsigned char[]>(size));
        return blocks_.back().get();
    }

    template <typename Pointed>
    Pointed* pointer()
    {
        using Plain = std::remove_const_t<Pointed>;
        constexpr std::size_t plenty = 64 * largest_room;
        if constexpr (is_handle<Plain>) {
            void* const handle =
                byte() % 8 == 0 ? handles.any(byte()) : handles.of(&kind<Plain>, byte());
            return static_cast<Plain*>(handle);
        } else if constexpr (std::is_pointer_v<Plain>) {
            return static_cast<Pointed*>(owner<std::remove_pointer_t<Plain>>());
        } else if constexpr (std::is_same_v<Plain, char> || std::is_void_v<Plain>) {
            unsigned char* const bytes = block(room_);
            if constexpr (std::is_const_v<Pointed>)
                fill(bytes, room_);
            return reinterpret_cast<Pointed*>(bytes);
        } else if constexpr (std::is_same_v<Plain, kr_c_parameter>) {
            return parameters();
        } else if constexpr (has_size<Plain>) {
            return sized<Plain>();
        } else {
            unsigned char* const bytes = block(plenty);
            if constexpr (std::is_const_v<Pointed>)
                fill(bytes, 64);
            return reinterpret_cast<Pointed*>(bytes);
        }
    }

    // The address of a handle that is to be made or given back.
    template <typename Behind>
    void* owner()
    {
        using Plain = std::remove_const_t<Behind>;
        if constexpr (is_handle<Plain>) {
            void** const slot = handles.slot(&kind<Plain>);
            *slot = byte() % 2 == 0 ? handles.of(&kind<Plain>, byte()) : nullptr;
            return slot;
        } else {
            return block(sizeof(void*));
        }
    }

    const kr_c_parameter* parameters()
    {
        auto* const list =
            reinterpret_cast<kr_c_parameter*>(block(sizeof(kr_c_parameter) * (largest_room + 1)));
        for (std::size_t i = 0; i <= largest_room; ++i)
            list[i] = {"VmsName", 7, "value", i % 6};
        return list;
    }

    template <typename Struct>
    Struct* sized()
    {
        auto* const value = reinterpret_cast<Struct*>(block(sizeof(Struct)));
        fill_members(*value);
        value->size = byte() % 16 == 0 ? number<std::uint32_t>() : sizeof(Struct);
        return value;
    }

    template <typename Struct>
    void fill_members(Struct& value)
    {
        if constexpr (!has_pointers<Struct>)
            fill(&value, sizeof value);
    }
    void fill_members(kr_c_filter& filter)
    {
        fill(&filter, offsetof(kr_c_filter, colors));
        filter.colors = make<const kr_c_colors*>();
    }
    void fill_members(kr_c_records& records)
    {
        records.bytes = make<const void*>();
        records.bytes_size = some_size();
        if (byte() % 2 == 0)
            return;
        auto* const ends = reinterpret_cast<std::uint64_t*>(block(8 * (room_ + 1)));
        for (std::size_t i = 0; i < room_; ++i)
            ends[i] = byte();
        records.ends = ends;
        records.count = room_;
    }
    void fill_members(kr_c_color_region& region)
    {
        region.format = number<std::int32_t>();
        region.width = byte() % 8;
        region.height = byte() % 8;
        region.stride = byte();
        region.mask_stride = byte();
        region.pixels = block(8 * 256);
        if (byte() % 2 == 0)
            region.mask = block(8 * 256);
    }
    void fill_members(kr_c_instance_columns& columns) { fill_columns(columns); }
    void fill_members(kr_c_color_columns& columns) { fill_columns(columns); }
    void fill_members(kr_c_record_columns& columns) { fill_columns(columns); }

    // All columns are pointers; each row of the widest has 16 bytes.
    template <typename Columns>
    void fill_columns(Columns& columns)
    {
        constexpr std::size_t first = 8;
        auto* const bytes = reinterpret_cast<unsigned char*>(&columns);
        for (std::size_t at = first; at < sizeof columns; at += sizeof(void*)) {
            unsigned char* const column = byte() % 4 == 0 ? nullptr : block(16 * largest_room);
            if (column != nullptr)
                fill(column, 32);
            std::memcpy(bytes + at, &column, sizeof column);
        }
    }

    template <typename Handle>
    static inline char kind = 0;
    template <typename Struct>
    static constexpr bool has_pointers =
        std::is_same_v<Struct, kr_c_filter> || std::is_same_v<Struct, kr_c_records> ||
        std::is_same_v<Struct, kr_c_color_region> ||
        std::is_same_v<Struct, kr_c_instance_columns> ||
        std::is_same_v<Struct, kr_c_color_columns> || std::is_same_v<Struct, kr_c_record_columns>;

    const std::uint8_t* data_;
    std::size_t size_;
    std::size_t room_ = 0;
    std::vector<std::unique_ptr<unsigned char[]>> blocks_;
};

using Function = std::function<void(Input&)>;

// What would make files anywhere, or run for as long as it is told.
kr_c_error open_log(kr_c_owned_log* log)
{
    static const std::string folder =
        (std::filesystem::temp_directory_path() / "kr_c_interface_fuzz").string();
    return kr_c_log_open(folder.data(), folder.size(), "fuzz", 4, log);
}

kr_c_error run_log(kr_c_log* log, kr_c_int64 microseconds)
{
    return kr_c_log_run(log, microseconds < 0 ? 0 : microseconds % 100);
}

template <typename Called>
Function calling(const char* name, Called called)
{
    return [name, called](Input& input) {
        static_cast<void>(name);
        const auto result = call(input, called);
        if constexpr (std::is_same_v<std::remove_cv_t<decltype(result)>, kr_c_error>)
            require(std::strcmp(kr_c_error_text(result), "unknown error") != 0,
                    "answers with no code", name);
        else if constexpr (std::is_pointer_v<std::remove_cv_t<decltype(result)>>)
            require(result != nullptr, "answers with null", name);
    };
}

std::vector<Function> make_functions()
{
    std::vector<Function> functions;
    each_function([&](const char* name, auto function) {
        const std::string known = name;
        if (known == "kr_c_log_open")
            functions.push_back(calling(name, open_log));
        else if (known == "kr_c_log_run")
            functions.push_back(calling(name, run_log));
        // These would reach the event log of the machine. Without them its writer writes nothing.
        else if (known != "kr_c_event_log_register" && known != "kr_c_event_log_declare")
            functions.push_back(calling(name, function));
    });
    return functions;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const std::vector<Function> functions = make_functions();
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    Input input(data, size);
    while (!input.is_empty()) {
        const std::size_t number = input.byte();
        input.begin_call();
        functions[number % functions.size()](input);
    }
    input.handles.give_back();
    return 0;
}
