// The library's side of the comparison with record.py, which explains the canonical text and the
// files of records.
//
//     record_tool encode TEXT RECORDS          canonical text to a file of records
//     record_tool describe RECORDS TEXT        and back; a record without instances ends the process
//     record_tool check RECORDS TEXT           the same by decode(), with state and position at the end
//     record_tool random SEED COUNT TEXT RECORDS    random objects, as text and as records

#include <KRCommon/objects/Objects.h>

#include <ace/Log_Msg.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <limits>
#include <random>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using Bytes = std::vector<unsigned char>;
using Instance = KR_ObjectBase::Instance;

constexpr unsigned no_limit = std::numeric_limits<unsigned>::max();

struct Sample {
    KR_ObjectBase object;
    unsigned limit = no_limit;
};

std::string read_file(const char* name)
{
    std::ifstream file(name, std::ios::binary);
    if (!file)
        throw std::runtime_error(std::string("cannot read ") + name);
    return {std::istreambuf_iterator<char>(file), {}};
}

class Output_File {
public:
    explicit Output_File(const char* name) : name_(name), file_(name, std::ios::binary) {}

    void write(const std::string& text) { file_ << text; }
    void write(const Bytes& record)
    {
        for (unsigned shift = 0; shift < 32; shift += 8)
            file_.put(static_cast<char>(record.size() >> shift & 0xFF));
        file_.write(reinterpret_cast<const char*>(record.data()),
                    static_cast<std::streamsize>(record.size()));
    }
    void close()
    {
        file_.close();
        if (!file_)
            throw std::runtime_error(std::string("cannot write ") + name_);
    }

private:
    const char* name_;
    std::ofstream file_;
};

// Writing text. Floats go by reference: passed by value, a signalling NaN may become a quiet one.

class Text {
public:
    Text& word(const char* text)
    {
        if (!text_.empty() && text_.back() != '\n')
            text_ += ' ';
        text_ += text;
        return *this;
    }
    Text& number(std::int64_t number) { return word(std::to_string(number).c_str()); }
    Text& number_unsigned(std::uint64_t number) { return word(std::to_string(number).c_str()); }
    Text& bits(const float& number)
    {
        std::uint32_t bits = 0;
        std::memcpy(&bits, &number, sizeof bits);
        char digits[9];
        std::snprintf(digits, sizeof digits, "%08lX", static_cast<unsigned long>(bits));
        return word(digits);
    }
    Text& time(const ACE_Time_Value& time) { return number(time.sec()).number(time.usec()); }
    Text& end_line()
    {
        text_ += '\n';
        return *this;
    }
    const std::string& text() const { return text_; }

private:
    std::string text_;
};

void write_instance(Text& text, const Instance& instance)
{
    text.word("instance").time(instance.Time);
    text.bits(instance.PersonValue).bits(instance.VehicleValue);
    text.bits(instance.ObjectValue).bits(instance.UnknownValue);
    text.bits(instance.Box.MinX).bits(instance.Box.MinY);
    text.bits(instance.Box.MaxX).bits(instance.Box.MaxY);
    text.bits(instance.Float1).bits(instance.Float2).number(instance.Flag);
    for (const float& number : instance.Group)
        text.bits(number);
    text.number(instance.Number).bits(instance.PointX).bits(instance.PointY).end_line();
    for (const ns__RgbColorArea& color : instance.Colors) {
        text.word("color").number(color.color.red).number(color.color.green);
        text.number(color.color.blue).bits(color.area).number(color.code).end_line();
    }
}

void write_auxiliary(Text& text, const KR_Auxiliary_Data& data)
{
    std::string digits;
    if (data != nullptr)
        for (const unsigned char byte : *data) {
            digits += "0123456789ABCDEF"[byte >> 4];
            digits += "0123456789ABCDEF"[byte & 15];
        }
    text.word("auxiliary").word(digits.empty() ? "-" : digits.c_str()).end_line();
}

// All but the line that ends the object.
void write_object(Text& text, const Sample& sample)
{
    const KR_ObjectBase& object = sample.object;
    text.word("object");
    if (sample.limit != no_limit)
        text.number(sample.limit);
    text.end_line();
    text.word("sensor").number(object.SensorId.word1).number(object.SensorId.word2).end_line();
    text.word("id").number_unsigned(object.ObjectId).end_line();
    text.word("detector").number(object.DetectorType).end_line();
    text.word("first_seen").time(object.FirstSeenTime).end_line();
    text.word("words").number(object.Word1).number(object.Word2).end_line();
    text.word("second_time").time(object.SecondTime).end_line();
    text.word("statistics").number(object.StatisticsWord1).number(object.StatisticsWord2);
    text.number(object.Duration);
    for (const float& score : object.ClassScores)
        text.bits(score);
    text.number(object.StatisticsWord7).number(object.StatisticsWord8).end_line();
    for (const Instance& instance : object.Instances)
        write_instance(text, instance);
    write_auxiliary(text, object.AuxiliaryData);
}

// Reading text.

class Words {
public:
    explicit Words(const std::string& line) : line_(line) {}

    std::string word()
    {
        std::string word;
        line_ >> word;
        return word;
    }
    template <typename Number>
    void number(Number& number)
    {
        std::int64_t value = 0;
        line_ >> value;
        number = static_cast<Number>(value);
        require();
    }
    void number_unsigned(std::uint64_t& number)
    {
        line_ >> number;
        require();
    }
    void bits(float& number)
    {
        std::uint32_t bits = 0;
        line_ >> std::hex >> bits >> std::dec;
        std::memcpy(&number, &bits, sizeof bits);
        require();
    }
    // Taken as it stands, in normal form or not.
    void time(ACE_Time_Value& time)
    {
        std::int64_t seconds = 0;
        std::int32_t microseconds = 0;
        number(seconds);
        number(microseconds);
        time.sec(seconds);
        time.usec(microseconds);
    }

private:
    void require() const
    {
        if (!line_)
            throw std::runtime_error("not a canonical text: " + line_.str());
    }

    std::istringstream line_;
};

void read_instance(Words& words, Instance& instance)
{
    words.time(instance.Time);
    words.bits(instance.PersonValue);
    words.bits(instance.VehicleValue);
    words.bits(instance.ObjectValue);
    words.bits(instance.UnknownValue);
    words.bits(instance.Box.MinX);
    words.bits(instance.Box.MinY);
    words.bits(instance.Box.MaxX);
    words.bits(instance.Box.MaxY);
    words.bits(instance.Float1);
    words.bits(instance.Float2);
    words.number(instance.Flag);
    for (float& number : instance.Group)
        words.bits(number);
    words.number(instance.Number);
    words.bits(instance.PointX);
    words.bits(instance.PointY);
}

void read_color(Words& words, ns__RgbColorArea& color)
{
    words.number(color.color.red);
    words.number(color.color.green);
    words.number(color.color.blue);
    words.bits(color.area);
    words.number(color.code);
}

void read_auxiliary(const std::string& digits, Bytes& data)
{
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        data.push_back(
            static_cast<unsigned char>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
}

void read_field(const std::string& name, Words& words, KR_ObjectBase& object)
{
    if (name == "sensor") {
        words.number(object.SensorId.word1);
        words.number(object.SensorId.word2);
    } else if (name == "id") {
        words.number_unsigned(object.ObjectId);
    } else if (name == "detector") {
        words.number(object.DetectorType);
    } else if (name == "first_seen") {
        words.time(object.FirstSeenTime);
    } else if (name == "words") {
        words.number(object.Word1);
        words.number(object.Word2);
    } else if (name == "second_time") {
        words.time(object.SecondTime);
    } else if (name == "statistics") {
        words.number(object.StatisticsWord1);
        words.number(object.StatisticsWord2);
        words.number(object.Duration);
        for (float& score : object.ClassScores)
            words.bits(score);
        words.number(object.StatisticsWord7);
        words.number(object.StatisticsWord8);
    } else if (name == "instance") {
        read_instance(words, object.Instances.emplace_back());
    } else if (name == "color") {
        read_color(words, object.Instances.back().Colors.emplace_back());
    } else if (name == "auxiliary") {
        read_auxiliary(words.word(), *object.AuxiliaryData);
    } else {
        throw std::runtime_error("unknown field " + name);
    }
}

// The commands.

Bytes encode(const Sample& sample)
{
    // Below 4 the size leaves out the count, which is written all the same.
    Bytes record(sample.object.serialize_size(sample.limit) + (sample.limit < 4 ? 4 : 0));
    if (sample.object.serialize(record.data(), sample.limit) != record.size())
        throw std::runtime_error("serialize() and serialize_size() disagree");
    return record;
}

void encode(const char* text_name, const char* records_name)
{
    std::istringstream text(read_file(text_name));
    Output_File records(records_name);
    Sample sample;
    for (std::string line; std::getline(text, line);) {
        Words words(line);
        const std::string name = words.word();
        if (name == "object") {
            sample = Sample();
            if (line != name)
                words.number(sample.limit);
        } else if (name == "end") {
            records.write(encode(sample));
        } else {
            read_field(name, words, sample.object);
        }
    }
    records.close();
}

std::string describe(Bytes record)
{
    Sample sample;
    const unsigned consumed = KR_ObjectBase::deserialize(
        record.data(), static_cast<unsigned>(record.size()), &sample.object);
    Text text;
    write_object(text, sample);
    return text.word("end").number(consumed).end_line().text();
}

// All records are decoded into one object.
class Checked_Reader {
public:
    std::string describe(const Bytes& record)
    {
        const KR_Record_Status status = sample_.object.decode(record.data(), record.size());
        if (status.state == KR_Record_State::cut_in_fixed_block)
            sample_.object.clear(); // there may be a record in it
        if (status.instances != sample_.object.Instances.size())
            throw std::runtime_error("decode() counts other instances than it reads");
        Text text;
        write_object(text, sample_);
        text.word("end").number_unsigned(status.consumed);
        text.number(static_cast<std::int32_t>(status.state)).number_unsigned(status.position);
        return text.end_line().text();
    }

private:
    Sample sample_;
};

template <typename Describe>
void describe(const char* records_name, const char* text_name, Describe describe_record)
{
    const std::string data = read_file(records_name);
    Output_File text(text_name);
    for (std::size_t position = 0; position + 4 <= data.size();) {
        std::size_t length = 0;
        for (int i = 3; i >= 0; --i)
            length = length << 8 | static_cast<unsigned char>(data[position + std::size_t(i)]);
        position += 4;
        if (length > data.size() - position)
            throw std::runtime_error("the last record is cut short");
        const auto first = data.begin() + static_cast<std::ptrdiff_t>(position);
        text.write(describe_record(Bytes(first, first + static_cast<std::ptrdiff_t>(length))));
        position += length;
    }
    text.close();
}

class Random {
public:
    explicit Random(std::uint64_t seed) : engine_(seed) {}

    unsigned below(unsigned end) { return static_cast<unsigned>(engine_() % end); }

    // Now and then an extreme, often a small number, else any.
    template <typename Number>
    void number(Number& number)
    {
        const std::uint64_t any = engine_();
        switch (below(4)) {
        case 0: number = static_cast<Number>(std::uint64_t{0} - any % 2); break;
        case 1: number = static_cast<Number>(any % 600 - 300); break;
        case 2: number = static_cast<Number>((std::uint64_t{1} << any % 64) - any % 2); break;
        default: number = static_cast<Number>(any); break;
        }
    }

    // Half of them within the range of a byte or a little beyond, else any bits: NaN and infinity
    // too.
    void bits(float& number)
    {
        const std::uint64_t any = engine_();
        if (any % 2 == 0) {
            number = (static_cast<float>(any >> 48) - 32768.0F) / 100.0F;
            return;
        }
        std::uint32_t bits = static_cast<std::uint32_t>(any >> 32);
        if (any % 16 == 1)
            bits |= 0x7F800000u;
        std::memcpy(&number, &bits, sizeof bits);
    }

    void time(ACE_Time_Value& time)
    {
        std::int64_t seconds = 0;
        std::int32_t microseconds = 0;
        number(seconds);
        number(microseconds);
        if (below(2) == 0) { // an ordinary one
            seconds &= 0x7FFFFFFF;
            microseconds = static_cast<std::int32_t>(below(1'000'000));
        }
        time.sec(seconds);
        time.usec(microseconds);
    }

private:
    std::mt19937_64 engine_;
};

void make_color(Random& random, ns__RgbColorArea& color)
{
    random.number(color.color.red);
    random.number(color.color.green);
    random.number(color.color.blue);
    random.bits(color.area);
    random.number(color.code);
}

void make_instance(Random& random, Instance& instance)
{
    random.time(instance.Time);
    for (float* number : {&instance.PersonValue, &instance.VehicleValue, &instance.ObjectValue,
                          &instance.UnknownValue, &instance.Box.MinX, &instance.Box.MinY,
                          &instance.Box.MaxX, &instance.Box.MaxY, &instance.Float1,
                          &instance.Float2, &instance.PointX, &instance.PointY})
        random.bits(*number);
    for (float& number : instance.Group)
        random.bits(number);
    random.number(instance.Flag);
    random.number(instance.Number);
    instance.Colors.resize(random.below(random.below(100) == 0 ? 260 : 5));
    for (ns__RgbColorArea& color : instance.Colors)
        make_color(random, color);
}

void make_scalars(Random& random, KR_ObjectBase& object)
{
    random.number(object.SensorId.word1);
    random.number(object.SensorId.word2);
    random.number(object.ObjectId);
    random.number(object.DetectorType);
    random.time(object.FirstSeenTime);
    random.time(object.SecondTime);
    random.number(object.Duration);
    for (std::int32_t* word :
         {&object.Word1, &object.Word2, &object.StatisticsWord1, &object.StatisticsWord2,
          &object.StatisticsWord7, &object.StatisticsWord8})
        random.number(*word);
    for (float& score : object.ClassScores)
        random.bits(score);
}

void make(Random& random, Sample& sample)
{
    make_scalars(random, sample.object);
    sample.object.Instances.resize(random.below(6));
    for (Instance& instance : sample.object.Instances)
        make_instance(random, instance);
    if (random.below(10) == 0)
        sample.object.AuxiliaryData = nullptr;
    else
        sample.object.AuxiliaryData->resize(random.below(2) * random.below(60), 0xA5);
    if (random.below(4) == 0)
        sample.limit = random.below(500);
}

void write_random(const char* seed, const char* count, const char* text_name,
                  const char* records_name)
{
    Random random(std::strtoul(seed, nullptr, 10));
    Output_File texts(text_name);
    Output_File records(records_name);
    for (unsigned long i = std::strtoul(count, nullptr, 10); i > 0; --i) {
        Sample sample;
        make(random, sample);
        Text text;
        write_object(text, sample);
        texts.write(text.word("end").end_line().text());
        records.write(encode(sample));
    }
    texts.close();
    records.close();
}

int run(int argc, char** argv)
{
    const std::string command = argc > 1 ? argv[1] : "";
    if (command == "encode" && argc == 4)
        encode(argv[2], argv[3]);
    else if (command == "describe" && argc == 4)
        describe(argv[2], argv[3], [](const Bytes& record) { return describe(record); });
    else if (command == "check" && argc == 4)
        describe(argv[2], argv[3], [reader = Checked_Reader()](const Bytes& record) mutable {
            return reader.describe(record);
        });
    else if (command == "random" && argc == 6)
        write_random(argv[2], argv[3], argv[4], argv[5]);
    else
        throw std::runtime_error("usage: see record_tool.cpp");
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    // The lines about instances that do not fit, of which there are thousands here.
    ACE_LOG_MSG->priority_mask(LM_EMERGENCY, ACE_Log_Msg::PROCESS);
    ACE_LOG_MSG->priority_mask(0, ACE_Log_Msg::THREAD);
    try {
        return run(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 2;
    }
}
