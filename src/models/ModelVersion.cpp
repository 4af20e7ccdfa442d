#include "models/ModelVersion.h"

#include <QCollator>

namespace quillora {

bool isNewer(const QString &version, const QString &other) {
    QCollator order{QLocale(QLocale::English)}; // the C locale takes no numbers
    order.setNumericMode(true);
    return order.compare(version, other) > 0;
}

} // namespace quillora
