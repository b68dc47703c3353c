// Captures debug-log lines (without prolog) in memory for tests.
//
//   BaseLogCapture capture;   // ovux_log -> capture for this scope
//   EXPECT_EQ(capture.lines(), (std::vector<std::string>{"INC: num(0) => (1)"}));
//
// wait_for() blocks, bounded, until another thread has written a given line.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

#include "base/log.h"

class BaseCaptureLog : public Log {
public:
    BaseCaptureLog() : Log(nullptr) {}

    void prolog() override {}

    std::vector<std::string> lines()
    {
        std::lock_guard<std::mutex> guard(m_linesMutex);
        return m_lines;
    }

    // True once `line` has been written, false after 10 s without it.
    bool wait_for(const std::string &line)
    {
        std::unique_lock<std::mutex> guard(m_linesMutex);
        return m_written.wait_for(guard, std::chrono::seconds(10), [&] {
            return std::find(m_lines.begin(), m_lines.end(), line) != m_lines.end();
        });
    }

protected:
    // Called with the log's own lock held (between start() and endl).
    void put_text(const char *text) override { m_current += text; }

    void end_message() override
    {
        {
            std::lock_guard<std::mutex> guard(m_linesMutex);
            m_lines.push_back(m_current);
        }
        m_written.notify_all();
        m_current.clear();
        unlock();
    }

private:
    std::string m_current;
    std::mutex m_linesMutex;
    std::condition_variable m_written;
    std::vector<std::string> m_lines;
};

// Points ovux_log at a BaseCaptureLog for the scope, then back.
class BaseLogCapture : public BaseCaptureLog {
public:
    BaseLogCapture() : m_previous(ovux_log) { ovux_log = this; }
    ~BaseLogCapture() override { ovux_log = m_previous; }

private:
    Log *m_previous;
};
