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
