#include "support/TestSuites.h"
#include "contract/Subjects.h"

#include <QCoreApplication>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora::test;

namespace {

/// What the program does instead when it is started by its own tests.
constexpr const char *variable = "QUILLORA_TEST_SUITES";

class Number {
public:
    explicit Number(int value) : m_value(value) {}
    int value() const { return m_value; }

private:
    int m_value;
};

class NumberContract : public QObject {
    Q_OBJECT

public:
    explicit NumberContract(Subjects<Number> subjects) : m_subjects(std::move(subjects)) {}

private Q_SLOTS:
    void initTestCase_data() { m_subjects.announce(); }
    void init() { m_number = m_subjects.harness(); }

    void itIsEven() { QCOMPARE(m_number->value() % 2, 0); }
    void itIsPositive() { QVERIFY(m_number->value() > 0); }

private:
    Subjects<Number> m_subjects;
    std::unique_ptr<Number> m_number;
};

class OtherSuite : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void itFails() { QVERIFY(false); }
};

int runSuites(int argc, char **argv) {
    NumberContract contract({{"two", [] { return std::make_unique<Number>(2); }},
                             {"three", [] { return std::make_unique<Number>(3); }}});
    OtherSuite other;
    return TestSuites({&contract, &other}).run(argc, argv);
}

} // namespace

class TestSuitesTest : public QObject {
    Q_OBJECT

    struct Run {
        int status;
        QByteArray output;
    };

    static Run run(const QStringList &arguments) {
        QProcess process;
        auto environment = QProcessEnvironment::systemEnvironment();
        environment.insert(QString::fromLatin1(variable), u"1"_s);
        process.setProcessEnvironment(environment);
        process.start(QCoreApplication::applicationFilePath(), arguments);
        process.waitForFinished();
        return {process.exitCode(), process.readAllStandardOutput()};
    }

private Q_SLOTS:
    void theFailuresOfAllSuitesAddUp() { QCOMPARE(run({}).status, 2); }

    void aFailureNamesWhoseItIs() {
        const auto output = run({}).output;
        QVERIFY2(output.contains("FAIL!  : NumberContract::itIsEven(three)"), output.constData());
        QVERIFY2(output.contains("PASS   : NumberContract::itIsEven(two)"), output.constData());
    }

    void namesChooseAmongTheTestsOfAllSuites() {
        QCOMPARE(run({u"itIsPositive"_s}).status, 0);
        QCOMPARE(run({u"itFails"_s}).status, 1);
        QCOMPARE(run({u"itFails"_s, u"itIsEven"_s}).status, 2);
    }

    void oneSubjectCanBeChosen() {
        QCOMPARE(run({u"itIsEven:two"_s}).status, 0);
        QCOMPARE(run({u"itIsEven:three"_s}).status, 1);
    }

    void aNameThatNoSuiteKnowsIsAFailure() { QVERIFY(run({u"nothingOfTheKind"_s}).status != 0); }

    void theTestsOfAllSuitesAreListed() {
        QCOMPARE(run({u"-functions"_s}).output, QByteArray("itIsEven()\nitIsPositive()\nitFails()\n"));
    }
};

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    if (qEnvironmentVariableIsSet(variable))
        return runSuites(argc, argv);
    TestSuitesTest test;
    return QTest::qExec(&test, argc, argv);
}
#include "TestSuitesTest.moc"
