#pragma once

#include "support/ThrowAwayAuthority.h"

#include <QTest>

namespace quillora::test {

/// Rows of a server's `identity` that must not be trusted where `authority` is, and the `fault` that is told.
inline void addBadCertificates(const ThrowAwayAuthority &authority) {
    QTest::addColumn<QSslConfiguration>("identity");
    QTest::addColumn<QString>("fault");
    QTest::newRow("unknown authority")
        << ThrowAwayAuthority().issue(u"127.0.0.1"_qs)
        << u"the server's certificate comes from an authority that this computer does not trust"_qs;
    QTest::newRow("other host") << authority.issue(u"other.example"_qs)
                                << u"the server's certificate belongs to another host"_qs;
    QTest::newRow("expired") << authority.issue(u"127.0.0.1"_qs, -1)
                             << u"the server's certificate has expired"_qs;
}

} // namespace quillora::test
