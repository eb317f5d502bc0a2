// What fuzzing has found for every reader of the library, as input of krtool's commands. All in one
// process, since the start of one takes longer than the work.

#include "Run.h"
#include "Test_File.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

using testing::StartsWith;

namespace {

using Arguments = std::vector<std::string>;

std::vector<std::string> corpora()
{
    std::vector<std::string> files;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(KRTOOL_FUZZ_CORPUS))
        if (entry.is_regular_file())
            files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

// As an argument can have it.
std::string text_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    return bytes.substr(0, bytes.find('\0'));
}

bool is_json(const std::string& out)
{
    std::istringstream lines(out);
    for (std::string line; std::getline(lines, line);)
        if (!nlohmann::json::accept(line))
            return false;
    return true;
}

// The exit code. What was refused is told in one sentence.
int run_well(const Arguments& arguments, const std::string& file)
{
    const Ran ran = run(arguments);
    const std::string what = arguments[0] + " " + arguments[1] + " on " + file;
    EXPECT_TRUE(ran.code == 0 || ran.code == 1 || ran.code == 2) << what << ": " << ran.code;
    if (ran.code == 2) {
        EXPECT_THAT(ran.errors, StartsWith("krtool: ")) << what;
        EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n'))
            << what << ": " << ran.errors;
    }
    if (std::find(arguments.begin(), arguments.end(), "--json") != arguments.end()) {
        EXPECT_TRUE(is_json(ran.out)) << what << ": " << ran.out;
    }
    return ran.code;
}

const std::string presets = std::string(KRTOOL_CONFIG_DIR) + "/KRCommon.xml";

} // namespace

TEST(Corpus, IsThere)
{
    EXPECT_GT(corpora().size(), 100U);
}

TEST(Corpus, AnyTextIsAColorOrRefused)
{
    for (const std::string& file : corpora())
        for (const char* form : {"--color=always", "--json"})
            run_well({"color", form, "--config", presets, "--", text_of(file)}, file);
}

// The library's verdict on each. What it accepts is looked at as a whole, every colour there is, which takes
// seconds under a sanitizer: so two of them are, and all when KRTOOL_WHOLE_CORPORA is set.
TEST(Corpus, AnyConfigurationIsShownOrRefused)
{
    const int step = std::getenv("KRTOOL_WHOLE_CORPORA") != nullptr ? 1 : 16;
    int accepted = 0;
    for (const std::string& file : corpora()) {
        const Test_File page("", ".html");
        const Test_File picture("", ".png");
        const Arguments swatch{"config",    "swatch", file,          "--html",
                               page.path(), "--png",  picture.path()};
        const Arguments diff{"config", "diff", "--json", file, presets, "--html", page.path()};
        if (run_well({"color", "--config", file, "#A52A2A", "0,0,0"}, file) == 2) {
            EXPECT_EQ(1, run_well({"config", "check", "--color=always", file}, file)) << file;
            EXPECT_EQ(1, run_well({"config", "check", "--json", file}, file)) << file;
            EXPECT_EQ(2, run_well(swatch, file)) << file;
            EXPECT_EQ(2, run_well(diff, file)) << file;
        } else if (accepted++ % step == 0) {
            EXPECT_NE(2, run_well({"config", "check", "--json", file}, file)) << file;
            EXPECT_EQ(0, run_well(swatch, file)) << file;
            EXPECT_NE(2, run_well(diff, file)) << file;
        }
    }
    EXPECT_GT(accepted, 0);
}

TEST(Corpus, AnyLogAndProfileIsShown)
{
    for (const std::string& file : corpora()) {
        const Test_File page("", ".html");
        run_well({"log", "--json", file}, file);
        run_well({"log", "--json", "--count", file}, file);
        run_well({"profile", "--json", file, "--html", page.path()}, file);
    }
}
