#include <KRCommon/frame/Log_Line.h>

#include <ace/Basic_Types.h>
#include <ace/Log_Record.h>
#include <ace/OS_NS_stdio.h>
#include <ace/OS_NS_unistd.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <sys/types.h>

namespace kr_internal {

namespace {

// A directive of a format, "%-5.2Lf".
struct Directive {
    std::string_view flags; // flags, width and precision, without 'L'
    bool is_long = false;
    char letter = 0;
};

class Line {
public:
    Line(char* out, std::size_t room) noexcept : begin_(out), out_(out), end_(out + room - 1) {}

    bool is_whole() const noexcept { return is_whole_; }
    std::size_t size() const noexcept { return static_cast<std::size_t>(out_ - begin_); }
    void finish() noexcept { *out_ = '\0'; }

    void add(std::string_view text) noexcept
    {
        const std::size_t fits = std::min(text.size(), room());
        std::memcpy(out_, text.data(), fits);
        out_ += fits;
        is_whole_ = is_whole_ && fits == text.size();
    }

    template <typename Number>
    void add_number(Number number) noexcept
    {
        std::array<char, 24> digits;
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
        add({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    void add_thread(unsigned number) noexcept
    {
        for (unsigned limit = 1000; limit > 1 && number < limit; limit /= 10)
            add("0");
        add_number(number);
    }

    // By the function that ACE uses. `letters` is what stands for the letter there.
    template <typename Value>
    void add_by_ace(const Directive& directive, const char* letters, Value value) noexcept
    {
        std::array<char, 64> spec{'%'};
        const std::size_t count = std::strlen(letters);
        if (directive.flags.size() + count + 2 > spec.size()) {
            is_whole_ = false;
            return;
        }
        directive.flags.copy(spec.data() + 1, spec.size());
        std::memcpy(spec.data() + 1 + directive.flags.size(), letters, count + 1);
        const int length = ACE_OS::snprintf(out_, room() + 1, spec.data(), value);
        const auto size = static_cast<std::size_t>(std::max(length, 0));
        is_whole_ = is_whole_ && length >= 0 && size <= room();
        out_ += std::min(size, room());
    }

    // "%f". False: the number is not one of the simple ones.
    bool add_fixed(double number) noexcept
    {
        constexpr double limit = 8e12; // 2^43: the product is right to 2^-11
        const double scaled = std::fabs(number) * 1e6;
        if (!(scaled < limit))
            return false;
        // Where this would round wrongly the digits beyond decide.
        const auto rounded =
            static_cast<std::int64_t>(scaled + 0.5); // NOLINT(bugprone-incorrect-roundings)
        if (std::fabs(scaled - static_cast<double>(rounded)) > 0.499)
            return false;
        std::array<char, 7> decimals{'.'};
        for (std::int64_t i = 6, rest = rounded; i > 0; --i, rest /= 10)
            decimals[static_cast<std::size_t>(i)] = static_cast<char>('0' + rest % 10);
        if (std::signbit(number))
            add("-");
        add_number(rounded / 1'000'000);
        add({decimals.data(), decimals.size()});
        return true;
    }

private:
    std::size_t room() const noexcept { return static_cast<std::size_t>(end_ - out_); }

    char* begin_;
    char* out_;
    char* end_; // of the text; the zero fits behind it
    bool is_whole_ = true;
};

const char* letters_of(const char* specifier) noexcept
{
    return specifier + 1; // without the "%"
}

constexpr bool is_flag(char c) noexcept
{
    return (c >= '0' && c <= '9') || c == '-' || c == '+' || c == ' ' || c == '#' || c == '.';
}

// Reads a directive behind its "%".
Directive read_directive(const char*& format) noexcept
{
    Directive directive;
    const char* const begin = format;
    while (is_flag(*format))
        ++format;
    directive.flags = {begin, static_cast<std::size_t>(format - begin)};
    for (; *format == 'L'; ++format)
        directive.is_long = true;
    directive.letter = *format;
    if (*format != '\0')
        ++format;
    return directive;
}

class Formatter {
public:
    Formatter(Line& line, const Line_Facts& facts, std::va_list arguments) noexcept
        : line_(line), facts_(facts)
    {
        va_copy(arguments_, arguments);
    }
    ~Formatter() { va_end(arguments_); }
    Formatter(const Formatter&) = delete;
    Formatter& operator=(const Formatter&) = delete;

    // What ACE prints. False: no directive of these.
    bool add_as_ace(const Directive& directive) noexcept
    {
        if (directive.is_long)
            return false;
        const bool is_plain = directive.flags.empty();
        switch (directive.letter) {
        case 'T':
            if (!is_plain || is_stamped_)
                return false;
            is_stamped_ = true;
            line_.add(facts_.stamp);
            return true;
        case 't':
            if (directive.flags != "04" || has_thread_)
                return false;
            has_thread_ = true;
            line_.add_thread(facts_.thread);
            return true;
        case 's':
        case 'C': return add_text(directive, va_arg(arguments_, const char*));
        case 'd':
        case 'i': return add_int(directive, va_arg(arguments_, int));
        case 'u': return add_unsigned(directive, va_arg(arguments_, unsigned));
        case 'x': return add_by_ace(directive, "x", va_arg(arguments_, unsigned));
        case 'X': return add_by_ace(directive, "X", va_arg(arguments_, unsigned));
        case 'o': return add_by_ace(directive, "o", va_arg(arguments_, unsigned));
        case 'c': return add_character(directive, va_arg(arguments_, int));
        case 'q':
            return add_by_ace(directive, letters_of(ACE_INT64_FORMAT_SPECIFIER),
                              va_arg(arguments_, ACE_INT64));
        case 'Q':
            return add_by_ace(directive, letters_of(ACE_UINT64_FORMAT_SPECIFIER),
                              va_arg(arguments_, ACE_UINT64));
        case 'b':
            return add_by_ace(directive, letters_of(ACE_SSIZE_T_FORMAT_SPECIFIER),
                              va_arg(arguments_, ssize_t));
        case 'B':
            return add_by_ace(directive, letters_of(ACE_SIZE_T_FORMAT_SPECIFIER),
                              va_arg(arguments_, std::size_t));
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G': return add_real(directive, va_arg(arguments_, double));
        case 'N': return add_text(directive, facts_.site.file);
        case 'l': return add_int(directive, facts_.site.line);
        default: return false;
        }
    }

    // The rest of kr_log()'s directives.
    void add_plainly(const Directive& directive) noexcept
    {
        switch (directive.letter) {
        case 'p':
            line_.add(va_arg(arguments_, const char*));
            line_.add(": ");
            [[fallthrough]];
        case 'm':
            line_.add("error ");
            line_.add_number(facts_.error);
            break;
        case 'T':
        case 'D': line_.add(facts_.stamp); break;
        case 't': line_.add_thread(facts_.thread); break;
        case 'M': line_.add(ACE_Log_Record::priority_name(facts_.site.priority)); break;
        case 'P': line_.add_number(static_cast<int>(ACE_OS::getpid())); break;
        case 'n': line_.add("program"); break;
        case 'R': line_.add_number(facts_.site.priority >= LM_ERROR ? -1 : 0); break;
        case 'd':
        case 'i': line_.add_by_ace(directive, "ld", va_arg(arguments_, long)); break;
        case 'u': line_.add_by_ace(directive, "lu", va_arg(arguments_, unsigned long)); break;
        case 'x': line_.add_by_ace(directive, "lx", va_arg(arguments_, unsigned long)); break;
        case 'X': line_.add_by_ace(directive, "lX", va_arg(arguments_, unsigned long)); break;
        case 'o': line_.add_by_ace(directive, "lo", va_arg(arguments_, unsigned long)); break;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G': // as a double: not every printf of these systems knows more
            add_real(directive, static_cast<double>(va_arg(arguments_, long double)));
            break;
        default: break; // "%c" of zero
        }
    }

private:
    template <typename Value>
    bool add_by_ace(const Directive& directive, const char* letters, Value value) noexcept
    {
        line_.add_by_ace(directive, letters, value);
        return true;
    }

    bool add_text(const Directive& directive, const char* text) noexcept
    {
        const char* const given = text != nullptr ? text : "(null)";
        if (directive.flags.empty())
            line_.add(given);
        else
            line_.add_by_ace(directive, "s", given);
        return true;
    }

    bool add_int(const Directive& directive, int number) noexcept
    {
        if (directive.flags.empty())
            line_.add_number(number);
        else
            line_.add_by_ace(directive, "d", number);
        return true;
    }

    bool add_unsigned(const Directive& directive, unsigned number) noexcept
    {
        if (directive.flags.empty())
            line_.add_number(number);
        else
            line_.add_by_ace(directive, "u", number);
        return true;
    }

    bool add_character(const Directive& directive, int character) noexcept
    {
        if (static_cast<unsigned char>(character) == 0)
            return false;
        line_.add_by_ace(directive, "c", character);
        return true;
    }

    bool add_real(const Directive& directive, double number) noexcept
    {
        const char letters[] = {directive.letter, '\0'};
        const bool is_plain = directive.letter == 'f' && directive.flags.empty();
        if (!is_plain || !line_.add_fixed(number))
            line_.add_by_ace(directive, letters, number);
        return true;
    }

    Line& line_;
    const Line_Facts& facts_;
    std::va_list arguments_;
    bool is_stamped_ = false;
    bool has_thread_ = false;
};

// Gives each directive to `add` until that refuses one: then false.
template <typename Add>
bool walk(Line& line, const char* format, Add add) noexcept
{
    while (*format != '\0') {
        const char* const begin = format;
        while (*format != '\0' && *format != '%')
            ++format; // the pieces are too short for a call
        line.add({begin, static_cast<std::size_t>(format - begin)});
        if (*format == '\0')
            break;
        ++format;
        if (*format == '%') {
            line.add("%");
            ++format;
        } else if (!add(read_directive(format))) {
            return false;
        }
    }
    return true;
}

} // namespace

std::size_t format_as_ace(char* out, std::size_t room, const char* format, const Line_Facts& facts,
                          std::va_list arguments) noexcept
{
    Line line(out, room);
    Formatter formatter(line, facts, arguments);
    const bool is_ours =
        *facts.stamp != '\0' && walk(line, format, [&](const Directive& directive) {
            return formatter.add_as_ace(directive);
        });
    line.finish();
    return is_ours && line.is_whole() ? line.size() : 0;
}

std::size_t format_plainly(char* out, std::size_t room, const char* format, const Line_Facts& facts,
                           std::va_list arguments) noexcept
{
    Line line(out, room);
    Formatter formatter(line, facts, arguments);
    walk(line, format, [&](const Directive& directive) {
        if (!formatter.add_as_ace(directive))
            formatter.add_plainly(directive);
        return true;
    });
    line.finish();
    constexpr std::string_view end = "...\n";
    if (!line.is_whole())
        end.copy(out + line.size() - end.size(), end.size());
    return line.size();
}

} // namespace kr_internal
