// The call log: a trace of the steps of saving, switched on per thread.
#pragma once

#include <string>
#include <string_view>

#include "collections/variant.h"

namespace ormavec {

// Appends one line, the text in double quotation marks, to the log file of
// this thread. Does not look at the switch: callers test CallLogOn() first.
void WriteCallLog(std::string_view text);

// The switch and the file name of this thread.
bool CallLogOn() noexcept;
const std::string& CallLogFileName() noexcept;

// A trace point: writes the tag only while the call log is on.
inline void Trace(std::string_view tag) {
    if (CallLogOn()) WriteCallLog(tag);
}

// Sets the call-log settings of the calling thread; they stay after the
// object is gone.
class clsDebug final : public Object {
public:
    static constexpr std::string_view kClassName = "clsDebug";
    std::string_view ClassName() const override { return kClassName; }

    void bCallLog(bool on) noexcept;
    void sLogFileName(std::string_view fileName);
};

}  // namespace ormavec
