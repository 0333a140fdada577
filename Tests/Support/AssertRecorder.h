#pragma once

#include <string>
#include <vector>

#include "Base/Eassert.h"

namespace KestTest {

// Captures the assertion reports made while it lives, instead of printing them.
class AssertRecorder {
public:
    struct Report {
        std::string expression;
        std::string file;
        int line;
    };

    AssertRecorder() { Reports().clear(); m_previous = Kest::SetEassertHandler(&Record); }
    ~AssertRecorder() { Kest::SetEassertHandler(m_previous); }
    AssertRecorder(const AssertRecorder&) = delete;
    AssertRecorder& operator=(const AssertRecorder&) = delete;

    const std::vector<Report>& reports() const { return Reports(); }
    void clear() { Reports().clear(); }

private:
    static std::vector<Report>& Reports()
    {
        static std::vector<Report> reports;
        return reports;
    }
    static void Record(const char* expression, const char* file, int line)
    {
        Reports().push_back({expression, file, line});
    }

    Kest::EassertHandler m_previous;
};

} // namespace KestTest
