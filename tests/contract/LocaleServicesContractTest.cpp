#include "contract/LocaleServicesContract.h"
#include "fakes/FakeLocaleServices.h"
#include "platform/linux/locale/IcuLocaleServices.h"

#include <QCoreApplication>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace quillora;

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    test::LocaleServicesContract contract(
        {{"fake", [] { return std::make_unique<test::FakeLocaleServices>(); }},
         {"IcuLocaleServices",
          [] { return std::make_unique<platform::IcuLocaleServices>(u"en_US.UTF-8"_s); }}});
    return QTest::qExec(&contract, argc, argv);
}
