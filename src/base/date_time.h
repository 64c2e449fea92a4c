// SPDX-License-Identifier: MIT

#pragma once

#include <ctime>
#include <string>

namespace utilities {

// DateTime: an instant or a duration in milliseconds, with calendar fields and fixed text renderings.
// Borrows: the calendar fields live in the shared buffer of gmtime() and localtime(), so the next conversion of
//          any object overwrites them. A copy takes only the milliseconds: call asUTC() or asLocalTime() on it
//          before its fields or the renderings made of them (toString, timestamp, str) are used.
// Threads: one thread only, because of that buffer.
// Units:   milliseconds, since the epoch or since the origin of the monotonic clock.
class DateTime {
  public:
    struct WeekDay {
        // 0 is "Sun"; "UNKNOWN" above 6.
        [[nodiscard]] static const char* toString(unsigned char day);
    };
    struct Month {
        // 0 is "Jan"; "UNKNOWN" above 11.
        [[nodiscard]] static const char* toString(unsigned char month);
    };

    DateTime();
    DateTime(unsigned long long milliseconds);
    DateTime(const DateTime& other);
    DateTime& operator=(const DateTime& other);
    virtual ~DateTime() = default;

    // These five convert with asUTC() or as their name says; the two clocks read "now".
    void set(unsigned long long milliseconds);
    // The monotonic clock, a 32-bit number of milliseconds with its sign extended: of the difference between two
    // such instants the low 32 bits count.
    void clockGetTime();
    void getDateAndTime();  // the wall clock, in whole seconds
    void asUTC();
    void asLocalTime();

    [[nodiscard]] unsigned long long milliseconds() const { return m_milliseconds; }
    [[nodiscard]] int year() const;
    [[nodiscard]] int month() const;  // 1..12
    [[nodiscard]] int day() const;    // 1..31
    [[nodiscard]] int hour() const;
    [[nodiscard]] int minute() const;
    [[nodiscard]] int second() const;
    [[nodiscard]] int weekday() const;  // 0 is Sunday
    [[nodiscard]] bool dst() const;

    // Unsigned 64-bit arithmetic and comparison of the milliseconds; sums and differences are converted with
    // asUTC(), the two assignments leave the fields as they were.
    DateTime operator+(const DateTime& other) const;
    DateTime operator-(const DateTime& other) const;
    DateTime& operator+=(const DateTime& other);
    DateTime& operator-=(const DateTime& other);
    bool operator==(const DateTime& other) const { return m_milliseconds == other.m_milliseconds; }
    bool operator!=(const DateTime& other) const { return m_milliseconds != other.m_milliseconds; }
    bool operator<(const DateTime& other) const { return m_milliseconds < other.m_milliseconds; }
    bool operator<=(const DateTime& other) const { return m_milliseconds <= other.m_milliseconds; }
    bool operator>(const DateTime& other) const { return m_milliseconds > other.m_milliseconds; }
    bool operator>=(const DateTime& other) const { return m_milliseconds >= other.m_milliseconds; }

    // "Thu 1970-01-01 00:00:00 DST=no, 0 seconds since epoch, ", its last two characters included.
    [[nodiscard]] std::string toString() const;
    // "1970-01-01 00:00:00"
    [[nodiscard]] std::string timestamp() const;
    // "Thu Feb 01 00:00:00 1970": the month is the one after the instant's.
    [[nodiscard]] std::string str() const;
    // "5 minutes ago", or "in 5 minutes" when this instant is later than the other one.
    [[nodiscard]] std::string ago(const DateTime& other) const;
    // Against the monotonic clock's now.
    [[nodiscard]] std::string ago() const;
    // "1 minute, 5 seconds, 0 milliseconds"
    [[nodiscard]] std::string timespan() const;

  private:
    unsigned long long m_milliseconds = 0;
    std::tm* m_time = nullptr;
};

}  // namespace utilities
