#include "contract/LocaleServicesContract.h"
#include "fakes/FakeLocaleServices.h"

#include <QCoreApplication>
#include <QTest>

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::LocaleServicesContract contract(
        [] { return std::make_unique<quillora::test::FakeLocaleServices>(); });
    return QTest::qExec(&contract, argc, argv);
}
