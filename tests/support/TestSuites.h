#pragma once

#include <QObject>

#include <initializer_list>
#include <vector>

namespace quillora::test {

/// Several objects with tests, run one after the other by one program. The names of tests on the command line
/// choose among all of them.
class TestSuites {
public:
    TestSuites(std::initializer_list<QObject *> suites) : m_suites(suites) {}

    /// The number of failures, as the program's exit status: 0 if all is well.
    int run(int argc, char **argv) const;

private:
    std::vector<QObject *> m_suites;
};

} // namespace quillora::test
