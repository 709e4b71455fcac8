// The trace logger: a small wide printf and a line writer with a time stamp and the thread id.
#include "libs/talutils/tal_debug.h"

#include <chrono>
#include <cstdarg>
#include <cstdint>
#include <ctime>

#include "libs/talutils/text_utils.h"
#include "platform/machine.h"

namespace {

struct Conversion {
    bool left = false;       // '-'
    bool zero = false;       // '0'
    bool alternate = false;  // '#'
    std::size_t width = 0;
};

// Pads body to the width; zeros go between the sign or 0x prefix and the digits.
void Emit(std::u16string& out, const Conversion& conv, std::u16string_view prefix,
          std::u16string_view body, bool numeric) {
    const std::size_t length = prefix.size() + body.size();
    const std::size_t pad = conv.width > length ? conv.width - length : 0;
    if (conv.left) {
        out += prefix;
        out += body;
        out.append(pad, u' ');
    } else if (conv.zero && numeric) {
        out += prefix;
        out.append(pad, u'0');
        out += body;
    } else {
        out.append(pad, u' ');
        out += prefix;
        out += body;
    }
}

std::u16string Digits(std::uint64_t value, unsigned base, bool upper, std::size_t minimum = 1) {
    const char16_t* set = upper ? u"0123456789ABCDEF" : u"0123456789abcdef";
    std::u16string reversed;
    do {
        reversed += set[value % base];
        value /= base;
    } while (value != 0);
    while (reversed.size() < minimum) reversed += u'0';
    return std::u16string(reversed.rbegin(), reversed.rend());
}

std::u16string FormatList(const char16_t* format, va_list args) {
    std::u16string out;
    if (format == nullptr) return out;
    const char16_t* p = format;
    while (*p != u'\0') {
        if (*p != u'%') {
            out += *p++;
            continue;
        }
        const char16_t* start = p++;
        if (*p == u'%') {
            out += u'%';
            ++p;
            continue;
        }
        Conversion conv;
        for (;; ++p) {
            if (*p == u'-')
                conv.left = true;
            else if (*p == u'0')
                conv.zero = true;
            else if (*p == u'#')
                conv.alternate = true;
            else
                break;
        }
        // A width beyond any line's length is a broken format, not a request for megabytes.
        while (*p >= u'0' && *p <= u'9') {
            conv.width = conv.width * 10 + static_cast<std::size_t>(*p - u'0');
            if (conv.width > 4096) conv.width = 4096;
            ++p;
        }
        if (*p == u'l') ++p;  // long is 32 bits wide on Windows: the same as int
        const char16_t conversion = *p;
        switch (conversion) {
            case u's': {
                const char16_t* text = va_arg(args, const char16_t*);
                Emit(out, conv, {}, text ? talutils::View(text) : u"(null)", false);
                break;
            }
            case u'd':
            case u'i': {
                const int value = va_arg(args, int);
                const std::int64_t wide = value;
                const std::uint64_t magnitude =
                    wide < 0 ? static_cast<std::uint64_t>(-wide) : static_cast<std::uint64_t>(wide);
                Emit(out, conv, value < 0 ? u"-" : u"", Digits(magnitude, 10, false), true);
                break;
            }
            case u'u':
                Emit(out, conv, {}, Digits(va_arg(args, unsigned int), 10, false), true);
                break;
            case u'x':
            case u'X': {
                const unsigned int value = va_arg(args, unsigned int);
                const bool upper = conversion == u'X';
                // As in C, the alternate form adds no prefix to zero.
                const std::u16string_view prefix =
                    conv.alternate && value != 0 ? (upper ? u"0X" : u"0x") : u"";
                Emit(out, conv, prefix, Digits(value, 16, upper), true);
                break;
            }
            case u'p': {
                const void* pointer = va_arg(args, void*);
                Emit(out, conv, {}, Digits(reinterpret_cast<std::uintptr_t>(pointer), 16, true, 16),
                     false);
                break;
            }
            case u'c': {
                const char16_t c = static_cast<char16_t>(va_arg(args, int));
                Emit(out, conv, {}, std::u16string_view(&c, 1), false);
                break;
            }
            default:
                // A lone '%' at the end or an unknown conversion stands as written and takes no
                // argument, so a mistyped format can't shift the rest onto the wrong types.
                out += *start;
                p = start + 1;
                continue;
        }
        ++p;
    }
    return out;
}

std::string TimeStamp() {
    using namespace std::chrono;
    const auto now = system_clock::now();
    const std::time_t seconds = system_clock::to_time_t(now);
    const auto millis = duration_cast<milliseconds>(now.time_since_epoch()).count() % 1000;
    // localtime's static result is safe here: every caller holds the logger's lock.
    const std::tm* local = std::localtime(&seconds);
    char text[16] = "00:00:00.000";
    if (local != nullptr) {
        const int parts[4] = {local->tm_hour, local->tm_min, local->tm_sec,
                              static_cast<int>(millis)};
        text[0] = static_cast<char>('0' + parts[0] / 10);
        text[1] = static_cast<char>('0' + parts[0] % 10);
        text[3] = static_cast<char>('0' + parts[1] / 10);
        text[4] = static_cast<char>('0' + parts[1] % 10);
        text[6] = static_cast<char>('0' + parts[2] / 10 % 10);
        text[7] = static_cast<char>('0' + parts[2] % 10);
        text[9] = static_cast<char>('0' + parts[3] / 100);
        text[10] = static_cast<char>('0' + parts[3] / 10 % 10);
        text[11] = static_cast<char>('0' + parts[3] % 10);
    }
    return text;
}

}  // namespace

CTalDebug::CTalDebug(int mode) : mode_(mode), file_(u"vistrel.log") {}

CTalDebug::~CTalDebug() = default;

void CTalDebug::SetMode(int mode) {
    std::lock_guard<std::mutex> guard(mutex_);
    mode_ = mode;
}

int CTalDebug::Mode() const {
    std::lock_guard<std::mutex> guard(mutex_);
    return mode_;
}

void CTalDebug::SetOutputFile(const char16_t* fileName) {
    std::lock_guard<std::mutex> guard(mutex_);
    file_ = fileName ? fileName : u"";
}

void CTalDebug::Trace(const char16_t* format, ...) {
    std::lock_guard<std::mutex> guard(mutex_);
    if (mode_ == 0 || file_.empty()) return;
    va_list args;
    va_start(args, format);
    std::u16string message = FormatList(format, args);
    va_end(args);
    // One call is one line of the log, also when a traced text carries line breaks.
    for (char16_t& c : message)
        if (c == u'\r' || c == u'\n') c = u' ';
    platform::TraceSink& sink = platform::machine().trace();
    std::string line = TimeStamp();
    line += " [";
    line += std::to_string(sink.CurrentThreadId());
    line += "] ";
    line += talutils::ToUtf8(message);
    sink.WriteLine(file_, line);
}

std::u16string TalFormat(const char16_t* format, ...) {
    va_list args;
    va_start(args, format);
    std::u16string out = FormatList(format, args);
    va_end(args);
    return out;
}
