#include "Record_Verify.h"

#include "../host/Number_Text.h"

#include "Record_Text.h"
#include "Record_Values.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace krtool {

const char* name_of(Tier tier) noexcept
{
    switch (tier) {
    case Tier::read: return "read";
    case Tier::whole: return "whole";
    case Tier::values: return "values";
    }
    return "";
}

namespace {

// Damage of which some of the record can be read is told by the second tier.
Tier tier_of(Damage damage)
{
    switch (damage) {
    case Damage::bad_color_count:
    case Damage::cut_in_instances:
    case Damage::cut_in_auxiliary_data:
    case Damage::trailing_bytes:
    case Damage::wrong_key: return Tier::whole;
    default: return Tier::read;
    }
}

// Looks at the parts of a record that can be read, and at each field in them.
class Value_Check {
public:
    Value_Check(const Record_Item& item, std::vector<Record_Finding>& findings)
        : item_(item), findings_(findings)
    {
    }

    void look()
    {
        KR_Record_Map map(item_.bytes.data, item_.bytes.size);
        while (map.next(piece_)) {
            part_ = item_.bytes.data + piece_.offset;
            for (const KR_Record_Field& field : kr_record_fields(piece_.part))
                look_at(field, part_ + field.offset);
        }
    }

private:
    void look_at(const KR_Record_Field& field, const unsigned char* bytes)
    {
        switch (field.type) {
        case KR_Field_Type::reserved: look_at_reserved(field, bytes); break;
        case KR_Field_Type::time32:
        case KR_Field_Type::time64: look_at_time(field, time_at(bytes, field.type)); break;
        case KR_Field_Type::float32: look_at_floats(field, bytes); break;
        case KR_Field_Type::int8: look_at_int8(field, number_at<std::int8_t>(bytes)); break;
        default: break;
        }
    }

    void look_at_reserved(const KR_Record_Field& field, const unsigned char* bytes)
    {
        constexpr std::uint32_t pending_instances = 124;
        if (std::all_of(bytes, bytes + field.size, [](unsigned char byte) { return byte == 0; }))
            return;
        if (piece_.part == KR_Record_Part::fixed_block && field.offset == pending_instances)
            add("pending_not_zero", field,
                "the writer has left something in place of the pending instances");
        else
            add("reserved_not_zero", field, "reserved bytes are not zero");
    }

    void look_at_time(const KR_Record_Field& field, const Stored_Time& time)
    {
        constexpr std::int64_t end_of_years = 32'535'216'000; // 3001-01-01
        if (!time.is_normal())
            add("time_not_normal", field,
                std::string(field.name) + " has " + std::to_string(time.microseconds) +
                    " microseconds, which is outside of a second");
        if (piece_.part != KR_Record_Part::instance) {
            if (time.seconds < 0 || time.seconds >= end_of_years)
                add("time_out_of_range", field,
                    std::string(field.name) + " is outside of the years 1970 to 3000");
            if (std::string_view(field.name) == "first_seen_time")
                first_seen_ = time;
            return;
        }
        look_at_instance_time(field, time);
    }

    // Their times have 32 bits, and ascend as they were appended.
    void look_at_instance_time(const KR_Record_Field& field, const Stored_Time& time)
    {
        constexpr std::int64_t last_second = std::numeric_limits<std::int32_t>::max();
        const auto is_before = [](const Stored_Time& left, const Stored_Time& right) {
            return left.seconds < right.seconds ||
                   (left.seconds == right.seconds && left.microseconds < right.microseconds);
        };
        if (time.seconds < 0 && first_seen_.seconds > last_second - 86'400)
            add("time_wrapped", field,
                "the time of an instance lies behind 2038-01-19, which 32 bits cannot say");
        else if (time.seconds < 0)
            add("time_out_of_range", field, "the time of an instance lies before 1970");
        else if (is_before(time, last_))
            add("times_descend", field,
                "the time of an instance is before that of the one in front");
        else if (is_before(time, first_seen_))
            add("time_before_first_seen", field,
                "the time of an instance is before the object's first-seen time");
        last_ = time;
    }

    void look_at_floats(const KR_Record_Field& field, const unsigned char* bytes)
    {
        const std::string_view name = field.name;
        for (std::uint32_t i = 0; i < field.size; i += 4) {
            const auto number = number_at<float>(bytes + i);
            if (!std::isfinite(number)) {
                add("float_not_finite", field,
                    std::string(name) + " has the value " + number_text(number));
                return;
            }
            if (name == "class_scores" && !(number >= 0 && number <= 1)) {
                add("score_out_of_range", field,
                    "a class score is " + number_text(number) + ", which is not from 0 to 1");
                return;
            }
        }
        if (name == "box" && (number_at<float>(bytes) > number_at<float>(bytes + 8) ||
                              number_at<float>(bytes + 4) > number_at<float>(bytes + 12)))
            add("box_reversed", field, "a box has its greater corner first; readers put it right");
    }

    void look_at_int8(const KR_Record_Field& field, int number)
    {
        const std::string_view name = field.name;
        if (piece_.part == KR_Record_Part::color && name == "area") {
            if (number < 0)
                add("area_negative", field,
                    "the area of a colour is " + std::to_string(number) +
                        ", as of one above 127 that did not fit into its byte");
            else if (number > 100)
                add("area_over_100", field,
                    "the area of a colour is " + std::to_string(number) + " percent");
        } else if (number < -1 && name.size() > 6 && name.substr(name.size() - 6) == "_value") {
            add("class_value_negative", field,
                std::string(name) + " is " + std::to_string(number) +
                    ", as of one above 127 that did not fit into its byte");
        }
    }

    // Once in a record, with a count.
    void add(const char* code, const KR_Record_Field& field, const std::string& text)
    {
        const auto same =
            std::find_if(findings_.begin(), findings_.end(), [code](const Record_Finding& finding) {
                return std::string_view(finding.code) == code;
            });
        if (same != findings_.end()) {
            ++same->count;
            return;
        }
        Record_Finding finding;
        finding.code = code;
        finding.record = item_.number;
        finding.offset = item_.record_offset + piece_.offset + field.offset;
        if (piece_.part == KR_Record_Part::instance || piece_.part == KR_Record_Part::color)
            finding.instance = piece_.instance;
        finding.text = text;
        findings_.push_back(finding);
    }

    const Record_Item& item_;
    std::vector<Record_Finding>& findings_;
    KR_Record_Piece piece_;
    const unsigned char* part_ = nullptr;
    Stored_Time first_seen_;
    Stored_Time last_; // of the instance in front
};

} // namespace

const std::vector<Record_Finding>& Record_Verifier::look_at(const Record_Item& item)
{
    findings_.clear();
    bytes_ += item.bytes.size + (item.has_length ? 4 : 0);
    records_ += item.is_first ? 1 : 0;
    if (item.damage != Damage::none)
        look_at_damage(item);
    else
        look_at_record(item);
    finish();
    return findings_;
}

void Record_Verifier::look_at_damage(const Record_Item& item)
{
    if (item.is_first) {
        damage_ = Record_Finding();
        damage_.tier = tier_of(item.damage);
        damage_.is_error = true;
        damage_.code = code_of(item.damage);
        damage_.record = item.number;
        damage_.offset = damage_offset(item);
        damage_.text = sentence_of(item);
        passed_[0] += damage_.tier == Tier::whole ? 1 : 0;
    }
    if (!item.is_last)
        return;
    const std::uint64_t size = item.offset + item.bytes.size;
    if (item.key == nullptr && !item.has_length)
        damage_.text += "; " + counted(item.damage_size, "byte") + " are passed over up to byte " +
                        std::to_string(size);
    findings_.push_back(damage_);
}

void Record_Verifier::look_at_record(const Record_Item& item)
{
    ++passed_[0];
    if (item.status.state == KR_Record_State::no_instances) {
        Record_Finding finding;
        finding.tier = Tier::whole;
        finding.is_error = true;
        finding.code = "no_instances";
        finding.record = item.number;
        finding.offset = item.record_offset + item.status.position;
        finding.text = "the object has no instance, and readers that do not ask first end for it";
        findings_.push_back(finding);
    } else {
        ++passed_[1];
    }
    Value_Check(item, findings_).look();
    passed_[2] += findings_.empty() ? 1 : 0;
}

void Record_Verifier::finish()
{
    for (const Record_Finding& finding : findings_) {
        ++counts_[finding.code];
        ++(finding.is_error ? errors_ : warnings_);
    }
}

} // namespace krtool
