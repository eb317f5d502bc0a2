#include "Record_Source.h"

#include "../host/Program.h"
#include "Record_Begin.h"
#include "Record_Window.h"
#include "Store_Source.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace krtool {

const char* code_of(Damage damage) noexcept
{
    switch (damage) {
    case Damage::none: break;
    case Damage::cut_in_fixed_block: return "cut_in_fixed_block";
    case Damage::bad_color_count: return "bad_color_count";
    case Damage::cut_in_instances: return "cut_in_instances";
    case Damage::cut_in_auxiliary_data: return "cut_in_auxiliary_data";
    case Damage::trailing_bytes: return "trailing_bytes";
    case Damage::too_long: return "too_long";
    case Damage::zeros: return "zeros";
    case Damage::wrong_length: return "wrong_length";
    case Damage::cut_in_length: return "cut_in_length";
    case Damage::wrong_key: return "wrong_key";
    }
    return "";
}

namespace {

constexpr std::size_t length_size = 4;

// What check() says of bytes that hold a record at least, where others may follow.
Damage damage_of(KR_Record_State state)
{
    switch (state) {
    case KR_Record_State::cut_in_fixed_block: return Damage::cut_in_fixed_block;
    case KR_Record_State::bad_color_count: return Damage::bad_color_count;
    case KR_Record_State::cut_in_instances: return Damage::cut_in_instances;
    case KR_Record_State::cut_in_auxiliary_data: return Damage::cut_in_auxiliary_data;
    case KR_Record_State::whole:
    case KR_Record_State::no_instances:
    case KR_Record_State::trailing_bytes: break;
    }
    return Damage::none;
}

bool is_zero(const unsigned char* bytes, std::size_t size)
{
    return std::all_of(bytes, bytes + size, [](unsigned char byte) { return byte == 0; });
}

std::uint32_t length_at(const unsigned char* bytes)
{
    std::uint32_t length = 0;
    std::memcpy(&length, bytes, sizeof length);
    return length;
}

// What files with and without lengths have in common: a window, and pieces of damage.
class File_Source : public Record_Source {
public:
    File_Source(std::unique_ptr<Input> input, std::unique_ptr<Record_Window> window,
                std::size_t longest)
        : window_(*window), longest_(longest), input_(std::move(input)), held_(std::move(window))
    {
    }

    bool next(Record_Item& item) override
    {
        window_.pass(taken_);
        taken_ = 0;
        item = Record_Item();
        if (!damaged_) {
            if (!window_.reach(1))
                return false;
            item.number = number_++;
            item.offset = item.record_offset = window_.offset();
            if (read(item))
                return true;
            damaged_ = item;
            next_candidate_ = 1;
        }
        give_piece(item);
        return true;
    }
    const std::string& name() const noexcept override { return input_->name(); }

protected:
    // Fills the item with the record at the first byte of the window, which is not empty, and says so;
    // or fills in what is damaged there, up to the next byte where a record begins.
    virtual bool read(Record_Item& item) = 0;
    // Whether a record begins at this byte of the window, or its length.
    [[nodiscard]] virtual bool begins(std::size_t position, bool is_end) const = 0;

    void take(Record_Item& item, std::size_t skipped, std::size_t size)
    {
        item.bytes = {window_.data() + skipped, size};
        taken_ = skipped + size;
    }

    // The first byte from `from` up to `to` where a record begins.
    [[nodiscard]] std::optional<std::size_t> find_begin(std::size_t from, std::size_t to,
                                                        bool is_end) const
    {
        for (std::size_t position = from; position < to; ++position)
            if (begins(position, is_end))
                return position;
        return std::nullopt;
    }

    Record_Window& window_;
    const std::size_t longest_;

private:
    void give_piece(Record_Item& item)
    {
        // Bytes that can be judged: all at the end, else those with enough bytes behind them.
        const bool is_end = !window_.reach(2 * begin_size);
        const std::size_t end = is_end ? window_.size() : window_.size() - begin_size;
        const std::optional<std::size_t> begin = find_begin(next_candidate_, end, is_end);
        next_candidate_ = 0;
        item = *damaged_;
        item.offset = window_.offset();
        take(item, 0, begin.value_or(end));
        item.damage_size = damaged_->damage_size += item.bytes.size;
        damaged_->is_first = false;
        item.is_last = begin || is_end;
        if (item.is_first && item.is_last)
            judge_anew(item);
        if (item.is_last)
            damaged_.reset();
    }

    // The counts went on into the records behind; the bytes end where the next one begins.
    static void judge_anew(Record_Item& item)
    {
        if (item.damage == Damage::zeros || item.damage == Damage::wrong_length ||
            item.damage == Damage::cut_in_length)
            return;
        const auto in_front = static_cast<std::size_t>(item.record_offset - item.offset);
        item.status = KR_Object_View::check(item.bytes.data + in_front, item.bytes.size - in_front);
        const Damage damage = damage_of(item.status.state);
        if (damage != Damage::none && item.damage != Damage::too_long)
            item.damage = damage;
    }

    std::unique_ptr<Input> input_;
    std::unique_ptr<Record_Window> held_;
    std::size_t taken_ = 0; // bytes of the window that the last item has
    std::uint64_t number_ = 0;
    std::optional<Record_Item> damaged_; // while its pieces come
    std::size_t next_candidate_ = 0;     // where a record may begin again
};

// Records that lie one behind the other.
class Concatenated_Source : public File_Source {
public:
    using File_Source::File_Source;
    Form form() const noexcept override { return Form::concatenated; }

private:
    bool read(Record_Item& item) override
    {
        item.status = check();
        item.damage = damage_of(item.status.state);
        if (item.damage != Damage::none && item.damage != Damage::bad_color_count &&
            window_.size() >= longest_)
            item.damage = Damage::too_long;
        if (item.damage != Damage::none)
            return false;
        const std::size_t size = item.status.consumed;
        if (item.status.state == KR_Record_State::no_instances && is_zero(window_.data(), size)) {
            item.damage = Damage::zeros;
            return false;
        }
        if (!is_followed_by_a_record(size) &&
            find_begin(1, size, !window_.reach(size + begin_size))) {
            item.damage = Damage::cut_in_instances; // or elsewhere, see judge_anew()
            return false;
        }
        take(item, 0, size);
        return true;
    }

    // Reads on while the record is not whole.
    KR_Record_Status check()
    {
        while (true) {
            const KR_Record_Status status = KR_Object_View::check(window_.data(), window_.size());
            const Damage damage = damage_of(status.state);
            if (damage == Damage::none || damage == Damage::bad_color_count)
                return status;
            if (window_.size() >= longest_ || window_.is_last())
                return status;
        }
    }

    // Or by the end of the file.
    bool is_followed_by_a_record(std::size_t size)
    {
        if (window_.reach(size + fixed_block_size))
            return has_clean_fixed_block(window_.data() + size);
        return window_.size() == size;
    }

    bool begins(std::size_t position, bool is_end) const override
    {
        return begins_record({window_.data() + position, window_.size() - position}, is_end,
                             longest_);
    }
};

// Records each of which stands behind its length.
class Lengths_Source : public File_Source {
public:
    using File_Source::File_Source;
    Form form() const noexcept override { return Form::lengths; }

private:
    bool read(Record_Item& item) override
    {
        if (!window_.reach(length_size)) {
            item.damage = Damage::cut_in_length;
            return false;
        }
        const std::uint32_t length = length_at(window_.data());
        item.record_offset = item.offset + length_size;
        if (length == 0 || length > longest_) {
            item.damage = Damage::wrong_length;
            return false;
        }
        const bool is_there = window_.reach(length_size + length);
        const std::size_t size = std::min<std::size_t>(length, window_.size() - length_size);
        item.status = KR_Object_View::check(window_.data() + length_size, size);
        item.damage = damage_of(item.status.state);
        if (length > item.status.consumed && item.damage == Damage::none)
            item.damage = Damage::trailing_bytes;
        if (item.damage != Damage::none && !(is_there && is_followed_by_a_record(length))) {
            if (is_there || item.damage == Damage::trailing_bytes)
                item.damage = Damage::wrong_length;
            return false;
        }
        item.offset = item.record_offset;
        item.damage_size = item.damage != Damage::none ? length : 0;
        item.has_length = true;
        item.length = length;
        take(item, length_size, length);
        return true;
    }

    // Or by the end of the file.
    bool is_followed_by_a_record(std::size_t length)
    {
        const std::size_t end = length_size + length;
        if (window_.reach(end + length_size + fixed_block_size))
            return has_clean_fixed_block(window_.data() + end + length_size);
        return window_.size() == end;
    }

    bool begins(std::size_t position, bool is_end) const override
    {
        const KR_Byte_Span rest{window_.data() + position, window_.size() - position};
        if (rest.size < length_size + least_record_size)
            return false;
        const std::uint32_t length = length_at(rest.data);
        if (length < least_record_size || length > longest_)
            return false;
        const KR_Byte_Span record{rest.data + length_size, rest.size - length_size};
        if (record.size < length)
            return !is_end && begins_record(record, is_end, longest_);
        return begins_record({record.data, length}, true, longest_) &&
               KR_Object_View::check(record.data, length).state == KR_Record_State::whole;
    }
};

// A record begins with 8 reserved bytes, so that a length can be told from it.
bool has_lengths(Record_Window& window)
{
    if (!window.reach(length_size + fixed_block_size))
        return false;
    return length_at(window.data()) >= fixed_block_size && !has_clean_fixed_block(window.data()) &&
           has_clean_fixed_block(window.data() + length_size);
}

bool is_sqlite(Record_Window& window)
{
    constexpr char magic[] = "SQLite format 3";
    return window.reach(sizeof magic) && std::memcmp(window.data(), magic, sizeof magic) == 0;
}

} // namespace

std::unique_ptr<Record_Source> open_records(const std::string& path, const Source_Options& options)
{
    auto input = std::make_unique<Input>(path);
    auto window = std::make_unique<Record_Window>(*input);
    Form form = options.form;
    if (form == Form::automatic)
        form = is_sqlite(*window)     ? Form::store
               : has_lengths(*window) ? Form::lengths
                                      : Form::concatenated;
    if (form == Form::store) {
        if (path == "-")
            throw Failure("a store cannot be read from the standard input");
        if (!is_sqlite(*window))
            throw Failure(input->name() + " is no store of the video search");
        return open_store(path, input->name());
    }
    if (form == Form::lengths)
        return std::make_unique<Lengths_Source>(std::move(input), std::move(window),
                                                options.longest);
    return std::make_unique<Concatenated_Source>(std::move(input), std::move(window),
                                                 options.longest);
}

} // namespace krtool
