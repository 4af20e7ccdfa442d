#pragma once

#include "support/ThrowAwayAuthority.h"

#include <QTest>

namespace quillora::test {

using namespace Qt::StringLiterals;

/// Rows of a server's `identity` that must not be trusted where `authority` is, and the `fault` that is told.
inline void addBadCertificates(const ThrowAwayAuthority &authority) {
    QTest::addColumn<QSslConfiguration>("identity");
    QTest::addColumn<QString>("fault");
    QTest::newRow("unknown authority")
        << ThrowAwayAuthority().issue(u"127.0.0.1"_s)
        << u"the server's certificate comes from an authority that this computer does not trust"_s;
    QTest::newRow("other host") << authority.issue(u"other.example"_s)
                                << u"the server's certificate belongs to another host"_s;
    QTest::newRow("expired") << authority.issue(u"127.0.0.1"_s, -1)
                             << u"the server's certificate has expired"_s;
}

} // namespace quillora::test
