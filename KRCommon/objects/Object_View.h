#pragma once

/// \file
/// A record read where it lies, KR_Object_View, with its instances and colours.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/objects/Geom_Box2D.h>
#include <KRCommon/objects/Query_Test.h>
#include <KRCommon/objects/Record_Reader.h>
#include <KRCommon/objects/Record_Status.h>

#include <krsoap/krsoap.h>

#include <ace/Time_Value.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>

class KR_Colors;

/// Bytes that somebody else owns. The pointer may be null when there are none.
struct KR_Byte_Span {
    const unsigned char* data = nullptr; ///< the first byte
    std::size_t size = 0;                ///< bytes

    /// The first byte.
    [[nodiscard]] const unsigned char* begin() const noexcept { return data; }
    /// Behind the last byte.
    [[nodiscard]] const unsigned char* end() const noexcept { return data + size; }
    /// Whether there are no bytes.
    [[nodiscard]] bool empty() const noexcept { return size == 0; }
};

/// A colour of an instance, with the numbers that an ns__RgbColorArea would have.
class KR_Color_View {
public:
    /// 0 to 255.
    [[nodiscard]] std::uint8_t red() const noexcept { return get(kr_internal::color_entry::red); }
    /// 0 to 255.
    [[nodiscard]] std::uint8_t green() const noexcept
    {
        return get(kr_internal::color_entry::green);
    }
    /// 0 to 255.
    [[nodiscard]] std::uint8_t blue() const noexcept { return get(kr_internal::color_entry::blue); }
    /// -128 to 127, whole.
    [[nodiscard]] float area() const noexcept { return get(kr_internal::color_entry::area); }
    /// -128 to 127.
    [[nodiscard]] std::int32_t code() const noexcept { return get(kr_internal::color_entry::code); }

private:
    friend class KR_Color_Range;
    friend class KR_Color_Iterator;

    explicit KR_Color_View(const unsigned char* bytes) noexcept : bytes_(bytes) {}

    template <typename Number>
    [[nodiscard]] Number get(kr_internal::Field_Of<Number> field) const noexcept
    {
        return kr_internal::get(bytes_, field);
    }

    const unsigned char* bytes_;
};

namespace kr_internal {

template <typename Number, std::size_t count>
[[nodiscard]] std::array<Number, count> get_all(const unsigned char* part,
                                                Array_Of<Number, count> field) noexcept
{
    std::array<Number, count> numbers;
    std::memcpy(numbers.data(), part + field.offset, sizeof numbers);
    return numbers;
}

/// As they stand: what is no normal form stays so.
[[nodiscard]] inline ACE_Time_Value time_of(std::int64_t seconds, std::int32_t microseconds)
{
    ACE_Time_Value time;
    time.sec(seconds);
    time.usec(microseconds);
    return time;
}

/// What operator-> of an iterator over views gives: the view itself, for as long as it is asked.
template <typename View>
class Arrow {
public:
    explicit Arrow(View view) noexcept : view_(view) {}
    const View* operator->() const noexcept { return &view_; }

private:
    View view_;
};

} // namespace kr_internal

/// A forward iterator; it gives values, not references.
class KR_Color_Iterator {
public:
    using iterator_category = std::forward_iterator_tag; ///< forward
    using value_type = KR_Color_View;                    ///< what it gives
    using difference_type = std::ptrdiff_t;              ///< of the standard's name
    using pointer = kr_internal::Arrow<KR_Color_View>;   ///< holds the value while it is asked
    using reference = KR_Color_View;                     ///< a value

    /// Points nowhere.
    KR_Color_Iterator() = default;

    /// The colour.
    [[nodiscard]] KR_Color_View operator*() const noexcept { return KR_Color_View(bytes_); }
    /// The colour.
    [[nodiscard]] pointer operator->() const noexcept { return pointer(**this); }
    /// Goes on to the next colour.
    KR_Color_Iterator& operator++() noexcept
    {
        bytes_ += kr_internal::color_size;
        return *this;
    }
    /// Goes on to the next colour; answers where it was.
    KR_Color_Iterator operator++(int) noexcept
    {
        const KR_Color_Iterator before = *this;
        ++*this;
        return before;
    }
    /// Whether both point at the same colour.
    [[nodiscard]] bool operator==(const KR_Color_Iterator& other) const noexcept
    {
        return bytes_ == other.bytes_;
    }
    /// Whether they do not.
    [[nodiscard]] bool operator!=(const KR_Color_Iterator& other) const noexcept
    {
        return bytes_ != other.bytes_;
    }

private:
    friend class KR_Color_Range;

    explicit KR_Color_Iterator(const unsigned char* bytes) noexcept : bytes_(bytes) {}

    const unsigned char* bytes_ = nullptr;
};

/// The colours of an instance, in their order: 0 to 127.
class KR_Color_Range {
public:
    using iterator = KR_Color_Iterator;       ///< of the standard's name
    using const_iterator = KR_Color_Iterator; ///< the same: colours cannot be changed

    /// The first colour.
    [[nodiscard]] iterator begin() const noexcept { return iterator(first_); }
    /// Behind the last colour.
    [[nodiscard]] iterator end() const noexcept
    {
        return iterator(first_ + count_ * kr_internal::color_size);
    }
    /// How many colours there are.
    [[nodiscard]] std::size_t size() const noexcept { return count_; }
    /// Whether there is no colour.
    [[nodiscard]] bool empty() const noexcept { return count_ == 0; }
    /// The index is not checked.
    [[nodiscard]] KR_Color_View operator[](std::size_t index) const noexcept
    {
        return KR_Color_View(first_ + index * kr_internal::color_size);
    }
    /// All of them as they are stored, 5 bytes each.
    [[nodiscard]] KR_Byte_Span bytes() const noexcept
    {
        return {first_, count_ * kr_internal::color_size};
    }

private:
    friend class KR_Instance_View;

    KR_Color_Range(const unsigned char* first, std::size_t count) noexcept
        : first_(first), count_(count)
    {
    }

    const unsigned char* first_;
    std::size_t count_;
};

/// An instance of a record, whole, with the numbers that a KR_ObjectBase::Instance would have.
class KR_Instance_View {
public:
    /// In the normal form of ACE_Time_Value.
    [[nodiscard]] ACE_Time_Value time() const noexcept
    {
        const auto [seconds, microseconds] = kr_internal::instance_time(bytes_);
        return kr_internal::time_of(seconds, microseconds);
    }

    /// Whole numbers from -128 to 127; above 0 the object was taken for that class.
    [[nodiscard]] float person_value() const noexcept { return get(kr_internal::entry::person); }
    /// As person_value().
    [[nodiscard]] float vehicle_value() const noexcept { return get(kr_internal::entry::vehicle); }
    /// As person_value().
    [[nodiscard]] float object_value() const noexcept { return get(kr_internal::entry::object); }
    /// As person_value().
    [[nodiscard]] float unknown_value() const noexcept { return get(kr_internal::entry::unknown); }

    /// Ordered and marked as set. A pair with a NaN in it stays as it is stored.
    [[nodiscard]] Geom_Box2D<float> box() const noexcept
    {
        return kr_internal::ordered_box(bytes_);
    }

    /// Carried as it is.
    [[nodiscard]] float float1() const noexcept { return get(kr_internal::entry::floats[0]); }
    /// Carried as it is.
    [[nodiscard]] float float2() const noexcept { return get(kr_internal::entry::floats[1]); }
    /// Carried as it is.
    [[nodiscard]] std::uint8_t flag() const noexcept { return get(kr_internal::entry::flag); }
    /// Carried as it is.
    [[nodiscard]] std::array<float, 4> group() const noexcept
    {
        return kr_internal::get_all(bytes_, kr_internal::entry::group);
    }
    /// -128 to 127.
    [[nodiscard]] std::int32_t number() const noexcept { return get(kr_internal::entry::number); }
    /// The observation's point, in the box's coordinates.
    [[nodiscard]] float point_x() const noexcept { return get(kr_internal::entry::point[0]); }
    /// The observation's point, in the box's coordinates.
    [[nodiscard]] float point_y() const noexcept { return get(kr_internal::entry::point[1]); }

    /// The instance's colours; none where their count is below zero.
    [[nodiscard]] KR_Color_Range colors() const noexcept
    {
        return {bytes_ + kr_internal::entry_size, kr_internal::readable_colors(bytes_)};
    }

private:
    friend class KR_Instance_Iterator;

    explicit KR_Instance_View(const unsigned char* bytes) noexcept : bytes_(bytes) {}

    template <typename Number>
    [[nodiscard]] Number get(kr_internal::Field_Of<Number> field) const noexcept
    {
        return kr_internal::get(bytes_, field);
    }

    const unsigned char* bytes_;
};

/// A forward iterator; it gives values, not references.
class KR_Instance_Iterator {
public:
    using iterator_category = std::forward_iterator_tag;  ///< forward
    using value_type = KR_Instance_View;                  ///< what it gives
    using difference_type = std::ptrdiff_t;               ///< of the standard's name
    using pointer = kr_internal::Arrow<KR_Instance_View>; ///< holds the value while it is asked
    using reference = KR_Instance_View;                   ///< a value

    /// The end of any range.
    KR_Instance_Iterator() = default;

    /// The instance.
    [[nodiscard]] KR_Instance_View operator*() const noexcept { return KR_Instance_View(entry_); }
    /// The instance.
    [[nodiscard]] pointer operator->() const noexcept { return pointer(**this); }
    /// Goes on to the next whole instance.
    KR_Instance_Iterator& operator++() noexcept
    {
        *this = KR_Instance_Iterator(entry_ + size_, left_ - size_, count_ - 1);
        return *this;
    }
    /// Goes on to the next whole instance; answers where it was.
    KR_Instance_Iterator operator++(int) noexcept
    {
        const KR_Instance_Iterator before = *this;
        ++*this;
        return before;
    }
    /// Whether as many instances follow on both, which must be of one record.
    [[nodiscard]] bool operator==(const KR_Instance_Iterator& other) const noexcept
    {
        return count_ == other.count_;
    }
    /// Whether they have not.
    [[nodiscard]] bool operator!=(const KR_Instance_Iterator& other) const noexcept
    {
        return count_ != other.count_;
    }

private:
    friend class KR_Instance_Range;

    // At the first of `count` entries in `left` bytes; at the end when not even this one is whole.
    KR_Instance_Iterator(const unsigned char* entry, std::size_t left, std::uint32_t count) noexcept
        : entry_(entry), left_(left),
          size_(count != 0 ? kr_internal::whole_entry_size(entry, left) : 0),
          count_(size_ != 0 ? count : 0)
    {
    }

    const unsigned char* entry_ = nullptr;
    std::size_t left_ = 0;    // bytes from there on
    std::size_t size_ = 0;    // of the entry
    std::uint32_t count_ = 0; // of the entries from here on that the list tells; 0 is the end
};

/// The instances of a record, in their order, as far as they are whole.
class KR_Instance_Range {
public:
    using iterator = KR_Instance_Iterator;       ///< of the standard's name
    using const_iterator = KR_Instance_Iterator; ///< the same: instances cannot be changed

    /// The first instance.
    [[nodiscard]] iterator begin() const noexcept
    {
        using namespace kr_internal;
        if (length_ < count_size)
            return {};
        return iterator(list_ + count_size, length_ - count_size,
                        kr_internal::get(list_, instance_list::count));
    }
    /// Behind the last whole instance.
    [[nodiscard]] iterator end() const noexcept { return {}; }
    /// Whether there is no whole instance.
    [[nodiscard]] bool empty() const noexcept { return begin() == end(); }

    /// There are no more than so many: what the list counts, but not more than its bytes can hold.
    [[nodiscard]] std::size_t max_size() const noexcept
    {
        using namespace kr_internal;
        if (length_ < count_size)
            return 0;
        return std::min<std::size_t>(kr_internal::get(list_, instance_list::count),
                                     (length_ - count_size) / entry_size);
    }

    /// The instance that KR_ObjectBase::Fill() selects: the first of exactly this time, else the
    /// first of all; end() when there is none.
    [[nodiscard]] iterator select(const ACE_Time_Value& time) const noexcept
    {
        for (iterator each = begin(); each != end(); ++each)
            if (each->time() == time)
                return each;
        return begin();
    }

private:
    friend class KR_Object_View;

    KR_Instance_Range(const unsigned char* list, std::size_t length) noexcept
        : list_(list), length_(length)
    {
    }

    // The bytes behind the list; none where it is cut short.
    [[nodiscard]] KR_Byte_Span bytes_behind() const noexcept
    {
        if (length_ < kr_internal::count_size)
            return {};
        std::uint32_t left = kr_internal::get(list_, kr_internal::instance_list::count);
        KR_Byte_Span rest{list_ + kr_internal::count_size, length_ - kr_internal::count_size};
        for (; left > 0; --left) {
            const std::size_t size = kr_internal::whole_entry_size(rest.data, rest.size);
            if (size == 0)
                return {};
            rest = {rest.data + size, rest.size - size};
        }
        return rest;
    }

    const unsigned char* list_;
    std::size_t length_;
};

/// How much of an object has each named colour, see KR_Object_View::color_shares().
struct KR_Color_Shares {
    /// Of preset numbers, from 0 (ranges of the configuration without a colour name) to 13 (purple).
    static constexpr std::size_t preset_count = 14;

    float percent[preset_count] = {}; ///< by the preset's number

    /// 0 for a number that is no preset.
    [[nodiscard]] float of(ns__ColorPreset preset) const noexcept
    {
        const auto number = static_cast<std::uint32_t>(preset);
        return number < preset_count ? percent[number] : 0.0F;
    }
};

namespace kr_internal {

/// The fixed block of a new KR_ObjectBase.
inline constexpr std::array<unsigned char, fixed_block_size> new_fixed_block = [] {
    std::array<unsigned char, fixed_block_size> block{};
    block[fixed_block::sensor_word2.offset] = 1;
    block[fixed_block::detector_type.offset] = 7;
    return block;
}();

} // namespace kr_internal

/// A record of a detected object read where it lies: its bytes are checked, tested against a query
/// and walked over without an object being made of them, which costs a small part of decoding them.
///
///     const KR_Object_View view(bytes.data(), bytes.size());
///     if (view.check().state != KR_Record_State::whole)
///         return; // check() says what is wrong with it, and where
///     if (view.test(from, to, detector, ns__ObjectClass__person, 0.5F, 2.0F))
///         for (const KR_Instance_View instance : view.instances())
///             draw(instance.time(), instance.box());
///
/// A view says of any bytes what an object says into which KR_ObjectBase::deserialize() has read
/// them, provided that it was new before: the same fields, instances, colours, auxiliary data and the
/// same answer to test(). So what is cut short counts as far as whole parts go, a list that counts
/// more than it holds goes on into the auxiliary data, and of an instance with a colour count below
/// zero no colours are read. Where deserialize() ends the process, a view has no instances. Bytes
/// too short for a fixed block, and a null pointer, which has no bytes, leave an object as new: a
/// view of them has the fields of a new object, detector type 7 and sensor 0, 1, all else zero.
///
/// docs/record_format.md has the byte map and says what of a record can be cut and damaged.
///
/// Ownership: a view and what it gives, spans and views of instances and colours, point into the
/// bytes, which somebody else owns. The bytes must outlive them and must not change meanwhile. Nothing
/// is allocated, copied or kept.
/// Bounds: no byte outside of those given is read, whatever they hold. They need no alignment.
/// Threads: values. Any number of threads may look at the same bytes at once.
/// Failure: none is reported but by check(). Nothing throws.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h; nothing here throws it.
class KR_Object_View {
public:
    /// Of no bytes.
    KR_Object_View() noexcept : KR_Object_View(nullptr, 0) {}

    /// bytes, length  a record; bytes behind it are not looked at, but by check(). A null pointer has
    ///                no bytes.
    KR_Object_View(const unsigned char* bytes, std::size_t length) noexcept
        : bytes_(bytes), length_(bytes != nullptr ? length : 0),
          fixed_block_(length_ >= kr_internal::fixed_block_size
                           ? bytes
                           : kr_internal::new_fixed_block.data())
    {
    }

    /// What the bytes are found to be, and where: Record_Status.h. Walks over all instances, some 2 ns
    /// for each.
    [[nodiscard]] KR_Record_Status check() const noexcept { return check(bytes_, length_); }
    /// The same of bytes without a view.
    [[nodiscard]] KRCOMMON_EXPORT static KR_Record_Status check(const unsigned char* bytes,
                                                                std::size_t length) noexcept;

    /// All bytes that were given.
    [[nodiscard]] KR_Byte_Span bytes() const noexcept { return {bytes_, length_}; }

    // The fixed block. What these are is told where KR_ObjectBase has members of their names; times
    // and numbers are as they stand, in normal form or not.

    /// KR_ObjectBase::SensorId.
    [[nodiscard]] ns__SensorId sensor_id() const
    {
        ns__SensorId id;
        id.word1 = get(kr_internal::fixed_block::sensor_word1);
        id.word2 = get(kr_internal::fixed_block::sensor_word2);
        return id;
    }
    /// KR_ObjectBase::ObjectId.
    [[nodiscard]] std::uint64_t object_id() const noexcept
    {
        return get(kr_internal::fixed_block::object_id);
    }
    /// KR_ObjectBase::DetectorType.
    [[nodiscard]] ns__DetectorType detector_type() const noexcept
    {
        return static_cast<ns__DetectorType>(get(kr_internal::fixed_block::detector_type));
    }
    /// KR_ObjectBase::FirstSeenTime.
    [[nodiscard]] ACE_Time_Value first_seen_time() const noexcept
    {
        return kr_internal::time_of(get(kr_internal::fixed_block::first_seen_seconds),
                                    get(kr_internal::fixed_block::first_seen_microseconds));
    }
    /// KR_ObjectBase::Word1.
    [[nodiscard]] std::int32_t word1() const noexcept
    {
        return get(kr_internal::fixed_block::word1);
    }
    /// KR_ObjectBase::Word2.
    [[nodiscard]] std::int32_t word2() const noexcept
    {
        return get(kr_internal::fixed_block::word2);
    }
    /// KR_ObjectBase::SecondTime.
    [[nodiscard]] ACE_Time_Value second_time() const noexcept
    {
        return kr_internal::time_of(get(kr_internal::fixed_block::second_time_seconds),
                                    get(kr_internal::fixed_block::second_time_microseconds));
    }
    /// KR_ObjectBase::StatisticsWord1.
    [[nodiscard]] std::int32_t statistics_word1() const noexcept
    {
        return get(kr_internal::fixed_block::statistics_word1);
    }
    /// KR_ObjectBase::StatisticsWord2.
    [[nodiscard]] std::int32_t statistics_word2() const noexcept
    {
        return get(kr_internal::fixed_block::statistics_word2);
    }
    /// Whole seconds.
    [[nodiscard]] std::uint32_t duration() const noexcept
    {
        return get(kr_internal::fixed_block::duration);
    }
    /// Of the object classes 1, 2 and 3.
    [[nodiscard]] std::array<float, 3> class_scores() const noexcept
    {
        return kr_internal::get_all(fixed_block_, kr_internal::fixed_block::class_scores);
    }
    /// KR_ObjectBase::StatisticsWord7.
    [[nodiscard]] std::int32_t statistics_word7() const noexcept
    {
        return get(kr_internal::fixed_block::statistics_word7);
    }
    /// KR_ObjectBase::StatisticsWord8.
    [[nodiscard]] std::int32_t statistics_word8() const noexcept
    {
        return get(kr_internal::fixed_block::statistics_word8);
    }

    /// The answer of KR_ObjectBase::test(), whose parameters these are, of the fixed block alone: a
    /// record without an instance may pass.
    [[nodiscard]] [[gnu::always_inline]] bool
    test(const ACE_Time_Value& from, const ACE_Time_Value& to, ns__DetectorType detector,
         ns__ObjectClass object_class, float min_score, float min_duration) const noexcept
    {
        return kr_internal::passes(Tested_View{*this},
                                   {from, to, detector, object_class, min_score, min_duration});
    }

    /// The instances, as far as they are whole.
    [[nodiscard]] KR_Instance_Range instances() const noexcept
    {
        if (length_ < kr_internal::fixed_block_size)
            return {nullptr, 0};
        return {bytes_ + kr_internal::fixed_block_size, length_ - kr_internal::fixed_block_size};
    }

    /// Empty where they are cut short, or the list is. Walks over all instances.
    [[nodiscard]] KRCOMMON_EXPORT KR_Byte_Span auxiliary_data() const noexcept;

    /// How much of the object has each named colour: the mean, over the instances that have colours,
    /// of the areas of those that belong to the preset.
    ///
    ///     percent = (sum of the areas of colours of the preset) / (number of instances with colours)
    ///
    /// What areas are percent of, and whether those of an instance sum up to 100, is the writer's
    /// affair; nothing is scaled. A colour counts for each preset it falls into
    /// (KR_Colors::rgb_to_hsv() and get_color_presets()), so that shares may sum up to more than 100.
    /// One with an area of 0 or below counts for none. An instance counts as one with colours
    /// whatever their areas are; one without any does not count. Without instances that have colours,
    /// and from a classifier without presets, all shares are 0.
    ///
    /// Sums are whole numbers and exact; each is divided in double, then rounded to float.
    ///
    /// colors  the classifier, as a rule *KR_Colors::instance()
    [[nodiscard]] KRCOMMON_EXPORT KR_Color_Shares
    color_shares(const KR_Colors& colors) const noexcept;

    /// Whether color_shares() gives the preset this percentage or more. Stops when what is left of the
    /// record cannot change the answer; it looks at some 32 colours at a time. False for a number that
    /// is no preset, and for a min_percent that is NaN; true for a preset and 0 percent or less.
    [[nodiscard]] KRCOMMON_EXPORT bool has_color(ns__ColorPreset preset, float min_percent,
                                                 const KR_Colors& colors) const noexcept;

private:
    template <typename Number>
    [[nodiscard]] Number get(kr_internal::Field_Of<Number> field) const noexcept
    {
        return kr_internal::get(fixed_block_, field);
    }

    // The fields as a query asks for them: a time as two numbers, of which no object is made.
    struct Tested_View {
        const KR_Object_View& view;

        [[nodiscard]] std::int64_t first_seen_seconds() const noexcept
        {
            return view.get(kr_internal::fixed_block::first_seen_seconds);
        }
        [[nodiscard]] std::int64_t first_seen_microseconds() const noexcept
        {
            return view.get(kr_internal::fixed_block::first_seen_microseconds);
        }
        [[nodiscard]] ns__DetectorType detector_type() const noexcept
        {
            return view.detector_type();
        }
        [[nodiscard]] std::uint32_t duration() const noexcept { return view.duration(); }
        [[nodiscard]] float class_score(unsigned index) const noexcept
        {
            return view.get(kr_internal::fixed_block::class_scores[index]);
        }
    };

    const unsigned char* bytes_;
    std::size_t length_;
    const unsigned char* fixed_block_; // of the bytes or, where they have none, of a new object
};
