// SPDX-License-Identifier: MIT

#pragma once

#include "events/EventRecord.h"

// EventRecordFilter: which records a walk over the event store stops at.
// Borrowed by stores and iterators for as long as they walk.
class EventRecordFilter {
  public:
    virtual ~EventRecordFilter() = default;
    [[nodiscard]] virtual bool test(EventRecord const& record) const = 0;
};

// By state, by severity, or by both.
class StateSeverityFilter : public EventRecordFilter {
  public:
    // Kind 'A' compares the state with the value, 'B' the severity; any other kind stops the process.
    StateSeverityFilter(char kind, int value);
    // The state must be equal; the severity equal, or with `invert` different.
    StateSeverityFilter(int state, int severity, bool invert);

    [[nodiscard]] bool test(EventRecord const& record) const override;

  private:
    bool m_checks_state;
    bool m_checks_severity;
    int m_state = 0;
    int m_severity = 0;
    bool m_invert = false;
};

// What is ON and more than information.
class ActiveEventsFilter : public EventRecordFilter {
  public:
    [[nodiscard]] bool test(EventRecord const& record) const override;
};

// What is not ON, is more than information and went ON within the last `span_s` seconds, counted from the moment of
// the test.
class NotificationsFilter : public EventRecordFilter {
  public:
    explicit NotificationsFilter(int span_s) : m_span_s(span_s) {}

    [[nodiscard]] bool test(EventRecord const& record) const override;

  private:
    int m_span_s;
};
