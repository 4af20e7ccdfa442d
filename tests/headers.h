#pragma once

// What nearly every test includes, by itself or through the product. Of the toolkit's test library only what
// does not differ by the libraries that a test links.
#include <QCoroTask>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QTemporaryDir>
#include <QtTest/qtestcase.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <vector>

// What is waited for comes at once, but not on a machine that stalls: the library's own 5 s were too few.
#undef QTRY_VERIFY
#undef QTRY_COMPARE
#define QTRY_VERIFY(expression) QTRY_VERIFY_WITH_TIMEOUT((expression), 30000)
#define QTRY_COMPARE(expression, expected) QTRY_COMPARE_WITH_TIMEOUT((expression), expected, 30000)
