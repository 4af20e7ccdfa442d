#include "contract/LocaleServicesContract.h"
#include "platform/linux/locale/IcuLocaleServices.h"

#include <QCoreApplication>
#include <QTest>

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    quillora::test::LocaleServicesContract contract(
        [] { return std::make_unique<quillora::platform::IcuLocaleServices>(u"en_US.UTF-8"_qs); });
    return QTest::qExec(&contract, argc, argv);
}
