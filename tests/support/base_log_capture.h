// Captures debug-log lines (without prolog) in memory: BaseLogCapture points
// ovux_log at itself for its scope; wait_for() blocks (10 s at most) for a line.
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

    bool wait_for(const std::string &line)
    {
        std::unique_lock<std::mutex> guard(m_linesMutex);
        return m_written.wait_for(guard, std::chrono::seconds(10), [&] {
            return std::find(m_lines.begin(), m_lines.end(), line) != m_lines.end();
        });
    }

protected:
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
