// CTalDebug: the printf-style trace logger. Any thread may call Trace.
#pragma once

#include <mutex>
#include <string>

// The format is wide. Conversions: %s (a wide string, const char16_t*; null prints "(null)"),
// %d %i (int), %u %x %X (unsigned int), %ld %lu %lx %lX (32-bit, as Windows' long),
// %p (a pointer, 16 upper-case hex digits), %c (a wide character passed as int), %% .
// Flags - 0 # and a width are honoured; "%#X" gives "0X" and upper-case digits.
// Every argument of an integer conversion must be a 32-bit int or unsigned int. An unknown
// conversion or a lone '%' at the end is written as it stands and takes no argument.
// A line reads "HH:MM:SS.mmm [thread id] text", in local time; line breaks in text become blanks.
class CTalDebug {
  public:
    explicit CTalDebug(int mode);
    ~CTalDebug();
    CTalDebug(const CTalDebug&) = delete;
    CTalDebug& operator=(const CTalDebug&) = delete;

    // 0 turns tracing off; any other value on.
    void SetMode(int mode);
    int Mode() const;
    // The log file, relative to the host's current folder.
    void SetOutputFile(const char16_t* fileName);
    // Writes one line: a time stamp and the thread id, then the formatted text.
    void Trace(const char16_t* format, ...);

  private:
    mutable std::mutex mutex_;
    int mode_;
    std::u16string file_;
};

// Formats as Trace does, without the line's prefix. Exposed for tests.
std::u16string TalFormat(const char16_t* format, ...);
