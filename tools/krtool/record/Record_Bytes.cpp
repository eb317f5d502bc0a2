#include "Record_Bytes.h"

#include "../host/Input.h"
#include "../host/Program.h"
#include "Record_Json.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>

namespace krtool {

namespace {

using Json = nlohmann::ordered_json;

// The lines of an input, one after the other, without their ends.
class Lines {
public:
    explicit Lines(Input& input) : input_(input) {}

    bool next(std::string& line)
    {
        constexpr std::size_t most = std::size_t{256} * 1024 * 1024;
        line.clear();
        while (true) {
            const std::size_t end = chunk_.find('\n', begin_);
            if (end != std::string::npos) {
                line.append(chunk_, begin_, end - begin_);
                begin_ = end + 1;
                ++number_;
                return true;
            }
            line.append(chunk_, begin_, std::string::npos);
            if (line.size() > most)
                throw Failure(input_.name() + ", line " + std::to_string(number_ + 1) +
                              " is longer than 256 MiB");
            begin_ = 0;
            chunk_.resize(std::size_t{64} * 1024);
            chunk_.resize(input_.read(chunk_.data(), chunk_.size()));
            if (chunk_.empty()) {
                number_ += line.empty() ? 0 : 1;
                return !line.empty();
            }
        }
    }
    [[nodiscard]] std::uint64_t number() const noexcept { return number_; }

private:
    Input& input_;
    std::string chunk_;
    std::size_t begin_ = 0;
    std::uint64_t number_ = 0; // of the last line, from 1
};

// A file that is closed at the end, or the program's own output.
class Bytes_Output {
public:
    Bytes_Output(const std::string& path, Output& output) : path_(path), output_(output)
    {
        if (path.empty())
            return;
        file_.reset(std::fopen(path.c_str(), "wb"));
        if (!file_)
            throw Failure("cannot write '" + path + "': " + std::strerror(errno));
    }

    void write(const std::string& bytes)
    {
        if (!file_)
            output_.text(bytes);
        else if (std::fwrite(bytes.data(), 1, bytes.size(), file_.get()) != bytes.size())
            fail();
    }
    void close()
    {
        if (file_ && std::fclose(file_.release()) != 0)
            fail();
    }

private:
    struct Close {
        void operator()(std::FILE* file) const noexcept { std::fclose(file); }
    };

    [[noreturn]] void fail() const
    {
        throw Failure("cannot write '" + path_ + "': " + std::strerror(errno));
    }

    std::string path_;
    Output& output_;
    std::unique_ptr<std::FILE, Close> file_;
};

std::string line_bytes(const std::string& line, const std::string& place)
{
    try {
        return to_bytes(Json::parse(line));
    } catch (const Json::parse_error& error) {
        throw Failure(place + " is no JSON from its byte " + std::to_string(error.byte) + " on");
    } catch (const Json_Mistake& mistake) {
        throw Failure(place + ": " + mistake.what());
    }
}

} // namespace

bool write_bytes(const std::vector<std::string>& files, const std::string& path, Output& output)
{
    Bytes_Output out(path, output);
    std::uint64_t records = 0;
    for (const std::string& file : files) {
        Input input(file);
        Lines lines(input);
        std::string line;
        while (lines.next(line)) {
            if (line.find_first_not_of(" \t\r") == std::string::npos)
                continue;
            out.write(line_bytes(line, input.name() + ", line " + std::to_string(lines.number())));
            ++records;
        }
    }
    out.close();
    return records > 0;
}

} // namespace krtool
