#include "Record_Annotate.h"

#include "Record_Text.h"
#include "Record_Values.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstring>
#include <functional>
#include <string>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::size_t bytes_of_a_row = 8;

// Some bytes that belong together.
struct Row {
    std::uint64_t offset = 0; // in the file
    KR_Byte_Span bytes;
    KR_Record_Piece piece;
    std::string part; // headline of the part that begins here; else empty
    std::string name; // "object_id"
    const char* type = "";
    std::string value;   // "1234567890123"
    std::string meaning; // "red"
    bool is_damage = false;
};

using Take = std::function<void(const Row&)>;

std::string text_of(KR_Byte_Span bytes)
{
    std::string text;
    for (const unsigned char byte : bytes)
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : '.';
    return text;
}

class Mapper {
public:
    Mapper(const Record_Item& item, std::size_t most_bytes, Take take)
        : item_(item), most_bytes_(most_bytes), take_(std::move(take))
    {
    }

    void map()
    {
        if (!item_.is_first) {
            add_bytes(item_.offset, item_.bytes);
            return;
        }
        add_length();
        const KR_Byte_Span record = record_bytes(item_);
        std::size_t end = 0;
        if (has_parts()) {
            KR_Record_Map map(record.data, record.size);
            KR_Record_Piece piece;
            while (map.next(piece) && is_to_be_shown(piece)) {
                add_part(piece, record.data + piece.offset);
                end = piece.offset + piece.size;
            }
        }
        if (item_.damage == Damage::none)
            return;
        if (!is_cut_shown_)
            add_reason();
        add_bytes(item_.record_offset + end, {record.data + end, record.size - end});
    }

private:
    bool has_parts() const
    {
        return item_.damage != Damage::zeros && item_.damage != Damage::wrong_length &&
               item_.damage != Damage::cut_in_length;
    }

    // Behind a bad colour count parts mean nothing. What is cut by the end of a piece is not cut.
    bool is_to_be_shown(const KR_Record_Piece& piece) const
    {
        if (item_.status.state == KR_Record_State::bad_color_count &&
            piece.offset > item_.status.position)
            return false;
        return piece.is_whole() || item_.is_last;
    }

    void add_length()
    {
        const bool is_in_front = item_.record_offset == item_.offset + 4;
        if (!item_.has_length && !is_in_front)
            return;
        Row row;
        row.offset = item_.has_length ? item_.offset - 4 : item_.offset;
        unsigned char bytes[4];
        const std::uint32_t length =
            item_.has_length ? item_.length : number_at<std::uint32_t>(item_.bytes.data);
        std::memcpy(bytes, &length, sizeof bytes);
        row.bytes = {bytes, sizeof bytes};
        row.part = "length of the record";
        row.name = "length";
        row.type = "uint32";
        row.value = std::to_string(length);
        take_(row);
    }

    static std::string head_of(const KR_Record_Piece& piece)
    {
        switch (piece.part) {
        case KR_Record_Part::fixed_block: return "fixed block";
        case KR_Record_Part::instance_count: return "instance list";
        case KR_Record_Part::instance: return "instance " + std::to_string(piece.instance);
        case KR_Record_Part::auxiliary_length: return "auxiliary data";
        case KR_Record_Part::color:
        case KR_Record_Part::auxiliary_data: break;
        }
        return {};
    }

    void add_part(const KR_Record_Piece& piece, const unsigned char* part)
    {
        if (piece.part == KR_Record_Part::auxiliary_data)
            add_data(piece, {part, piece.size});
        else if (piece.part == KR_Record_Part::color && piece.is_whole())
            add_color(piece, part);
        else
            add_fields(piece, part);
        if (!piece.is_whole())
            add_cut(piece);
    }

    Row row_at(const KR_Record_Piece& piece, std::size_t offset, KR_Byte_Span bytes) const
    {
        Row row;
        row.piece = piece;
        row.offset = item_.record_offset + piece.offset + offset;
        row.bytes = bytes;
        row.part = offset == 0 ? head_of(piece) : "";
        return row;
    }

    void add_fields(const KR_Record_Piece& piece, const unsigned char* part)
    {
        for (const KR_Record_Field& field : kr_record_fields(piece.part)) {
            if (field.offset >= piece.size)
                return;
            const std::size_t size = std::min<std::size_t>(field.size, piece.size - field.offset);
            Row row = row_at(piece, field.offset, {part + field.offset, size});
            row.name = field.name;
            row.type = name_of(field.type);
            if (size == field.size) {
                row.value = value_text(field, part + field.offset);
                row.meaning = meaning_of(piece, field, part + field.offset);
            }
            take_(row);
        }
    }

    static std::string meaning_of(const KR_Record_Piece& piece, const KR_Record_Field& field,
                                  const unsigned char* bytes)
    {
        const std::string_view name = field.name;
        if (name == "duration")
            return "seconds";
        if (name == "class_scores")
            return "of person, vehicle, object";
        if (name == "box")
            return "min x, min y, max x, max y";
        if (name == "color_count" && number_at<std::int8_t>(bytes) < 0)
            return "below zero: no colour is read";
        if (field.type == KR_Field_Type::reserved && field.offset == 124 &&
            piece.part == KR_Record_Part::fixed_block)
            return "pending instances of the writer";
        if (piece.part == KR_Record_Part::instance_count)
            return "instances";
        if (name == "length")
            return "bytes";
        if (field.type == KR_Field_Type::int8 && field.offset >= 8 && field.offset <= 11 &&
            number_at<std::int8_t>(bytes) > 0)
            return "taken for this class";
        return {};
    }

    void add_color(const KR_Record_Piece& piece, const unsigned char* part)
    {
        Row row = row_at(piece, 0, {part, piece.size});
        row.name = "color " + std::to_string(piece.color);
        row.type = "color";
        row.value = rgb_text(part) + ", area " + std::to_string(number_at<std::int8_t>(part + 3)) +
                    ", code " + std::to_string(number_at<std::int8_t>(part + 4));
        row.meaning = color_names(part);
        take_(row);
    }

    static std::string color_names(const unsigned char* rgb)
    {
        ns__RgbColor color;
        color.red = rgb[0];
        color.green = rgb[1];
        color.blue = rgb[2];
        std::string names;
        for (const std::string& name : preset_names(color))
            names += (names.empty() ? "" : ", ") + name;
        return names;
    }

    void add_data(const KR_Record_Piece& piece, KR_Byte_Span data)
    {
        add_rows(data, kind_of(data), [&](std::size_t offset, KR_Byte_Span bytes) {
            Row row = row_at(piece, offset, bytes);
            row.name = "data";
            row.type = "bytes";
            return row;
        });
    }

    void add_cut(const KR_Record_Piece& piece)
    {
        is_cut_shown_ = true;
        Row row;
        row.piece = piece;
        row.offset = item_.record_offset + piece.offset + piece.size;
        row.is_damage = true;
        row.value = "cut here: " + std::to_string(piece.whole_size - piece.size) + " of " +
                    std::to_string(piece.whole_size) + " bytes are missing";
        take_(row);
    }

    void add_reason()
    {
        Row row;
        row.offset = damage_offset(item_);
        row.is_damage = true;
        row.value = sentence_of(item_);
        take_(row);
    }

    void add_bytes(std::uint64_t begin, KR_Byte_Span bytes)
    {
        add_rows(bytes, "", [&](std::size_t offset, KR_Byte_Span some) {
            Row row;
            row.offset = begin + offset;
            row.bytes = some;
            row.name = "?";
            row.type = "bytes";
            return row;
        });
    }

    // Eight bytes a row, the first of them with the meaning.
    template <typename Make>
    void add_rows(KR_Byte_Span data, const std::string& meaning, Make make)
    {
        const std::size_t shown = std::min(data.size, most_bytes_);
        for (std::size_t i = 0; i < shown; i += bytes_of_a_row) {
            const KR_Byte_Span bytes{data.data + i, std::min(bytes_of_a_row, shown - i)};
            Row row = make(i, bytes);
            row.value = text_of(bytes);
            row.meaning = i == 0 ? meaning : "";
            take_(row);
        }
        if (shown == data.size)
            return;
        Row row = make(shown, KR_Byte_Span());
        row.type = "";
        row.value = "... " + counted(data.size - shown, "byte") + " more, with --all to be seen";
        take_(row);
    }

    const Record_Item& item_;
    const std::size_t most_bytes_;
    const Take take_;
    bool is_cut_shown_ = false;
};

std::string padded(const std::string& text, std::size_t width)
{
    return text.size() < width ? text + std::string(width - text.size(), ' ') : text;
}

std::string offset_text(std::uint64_t offset)
{
    std::string digits;
    do {
        digits.insert(digits.begin(), "0123456789ABCDEF"[offset & 15U]);
        offset >>= 4U;
    } while (offset != 0);
    return std::string(digits.size() < 8 ? 8 - digits.size() : 0, '0') + digits;
}

// What follows the first eight bytes of a field stands in lines below.
void write(const Row& row, Output& output)
{
    if (!row.part.empty())
        output.text(std::string(10, ' ') + output.painted(Paint::blue, row.part) + "\n");
    if (row.is_damage) {
        output.text(output.painted(Paint::red, offset_text(row.offset) + "  " + row.value) + "\n");
        return;
    }
    const std::size_t first = std::min(bytes_of_a_row, row.bytes.size);
    std::string text = output.painted(Paint::dim, offset_text(row.offset)) + "  " +
                       padded(hex_text(row.bytes.data, first), 3 * bytes_of_a_row) +
                       padded(row.name, 17);
    std::string behind = padded(row.value, row.meaning.empty() ? 0 : 30);
    if (!row.meaning.empty())
        behind += "  " + row.meaning;
    text += behind.empty() ? "" : " " + behind;
    text.erase(text.find_last_not_of(' ') + 1);
    output.text(text + "\n");
    for (std::size_t i = first; i < row.bytes.size; i += bytes_of_a_row)
        output.text(output.painted(Paint::dim, offset_text(row.offset + i)) + "  " +
                    hex_text(row.bytes.data + i, std::min(bytes_of_a_row, row.bytes.size - i)) +
                    "\n");
}

Json json_of(const Row& row)
{
    Json object = {{"offset", row.offset}, {"size", row.bytes.size}};
    if (row.is_damage) {
        object["damage"] = row.value;
        return object;
    }
    if (row.piece.size > 0) {
        object["part"] = name_of(row.piece.part);
        if (row.piece.part == KR_Record_Part::instance || row.piece.part == KR_Record_Part::color)
            object["instance"] = row.piece.instance;
    }
    object["name"] = row.name;
    object["type"] = row.type;
    object["value"] = row.value;
    if (!row.meaning.empty())
        object["meaning"] = row.meaning;
    object["bytes"] = hex_text(row.bytes.data, row.bytes.size);
    return object;
}

} // namespace

void annotate(const Record_Item& item, std::size_t most_bytes, Output& output)
{
    if (item.is_first) {
        const char* const state = item.damage != Damage::none ? "damaged"
                                  : item.status.instances > 0 ? "whole"
                                                              : "without instances";
        output.text(output.painted(Paint::bold, place_of(item) + ": " + state) + "\n");
    }
    Mapper(item, most_bytes, [&](const Row& row) { write(row, output); }).map();
    if (item.is_last && item.damage != Damage::none && item.key == nullptr)
        output.text(output.painted(Paint::red, offset_text(item.offset + item.bytes.size) +
                                                   "  the damage ends") +
                    "\n");
}

Json annotation(const Record_Item& item, std::size_t most_bytes)
{
    Json object = {{"record", item.number}};
    object["damage"] = item.damage == Damage::none ? Json() : Json(code_of(item.damage));
    Json fields = Json::array();
    Mapper(item, most_bytes, [&](const Row& row) { fields.push_back(json_of(row)); }).map();
    object["fields"] = std::move(fields);
    return object;
}

} // namespace krtool
