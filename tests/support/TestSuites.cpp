#include "support/TestSuites.h"

#include <QByteArrayList>
#include <QMetaMethod>
#include <QTest>

#include <algorithm>
#include <cstdio>

using namespace Qt::StringLiterals;

namespace quillora::test {

namespace {

/// The tests of a suite, as the test library finds them.
QStringList testsOf(const QObject &suite) {
    static const QByteArrayList aroundTests{"initTestCase", "cleanupTestCase", "init", "cleanup"};
    QStringList tests;
    for (int i = 0; i < suite.metaObject()->methodCount(); ++i) {
        const auto method = suite.metaObject()->method(i);
        if (method.methodType() == QMetaMethod::Slot && method.access() == QMetaMethod::Private &&
            method.parameterCount() == 0 && !method.name().endsWith("_data") &&
            !aroundTests.contains(method.name()))
            tests.append(QString::fromLatin1(method.name()));
    }
    return tests;
}

/// Without the data that it may be asked to run with.
QString testIn(const QString &argument) { return argument.section(u':', 0, 0); }

} // namespace

int TestSuites::run(int argc, char **argv) const {
    QStringList arguments;
    for (int i = 0; i < argc; ++i)
        arguments.append(QString::fromLocal8Bit(argv[i]));
    QStringList tests;
    for (const auto *suite : m_suites)
        tests.append(testsOf(*suite));
    if (arguments.contains(u"-functions"_s)) {
        // The library would list those of the first, and end the program.
        std::printf("%s()\n", qPrintable(tests.join(u"()\n"_s)));
        return 0;
    }

    const auto namesTest = [&](const QString &argument) { return tests.contains(testIn(argument)); };
    const bool isChosen = std::any_of(arguments.begin() + 1, arguments.end(), namesTest);
    int failures = 0;
    for (auto *suite : m_suites) {
        const auto own = testsOf(*suite);
        QStringList ownArguments = arguments;
        erase_if(ownArguments, [&](const QString &argument) {
            return namesTest(argument) && !own.contains(testIn(argument));
        });
        const bool hasChosen = std::any_of(ownArguments.begin() + 1, ownArguments.end(), namesTest);
        if (!isChosen || hasChosen)
            failures += QTest::qExec(suite, ownArguments);
    }
    constexpr int highestStatus = 127;
    return std::min(failures, highestStatus);
}

} // namespace quillora::test
