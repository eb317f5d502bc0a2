#pragma once

/// \file
/// What is told of the lines that are wanted. Threads: one at a time.

#include "Log_Merge.h"

#include "../host/Output.h"

#include <memory>

namespace krtool {

enum class View_Kind { lines, counts, stalls };

struct View_Options {
    View_Kind kind = View_Kind::lines;
    bool has_date = false; ///< lines begin with their date
    bool has_file = false; ///< and with the name of their file
    std::size_t top = 0;   ///< so many counts at most; 0: all
};

class Log_View {
public:
    virtual ~Log_View() = default;

    /// head  null for a line without a stamp
    virtual void take(const Log_Record& record, const Line_Head* head,
                      const Log_Stream& stream) = 0;

    /// Whether take() looks at the head; else it need not be parsed for it.
    [[nodiscard]] virtual bool needs_head() const { return true; }

    /// Lets out what there is so far.
    virtual void flush() = 0;

    /// After the last line. Whether there was anything to show.
    [[nodiscard]] virtual bool finish() = 0;
};

/// `output` outlives the view.
[[nodiscard]] std::unique_ptr<Log_View> make_view(const View_Options& options, Output& output);

} // namespace krtool
