#pragma once

// What nearly every file of the program includes, by itself or through another. The standard's and the
// toolkit's only: a change to a header of ours must not compile everything again.
#include <QCoroTask>
#include <QDebug>
#include <QHash>
#include <QList>
#include <QMap>
#include <QObject>
#include <QPointer>
#include <QString>
#include <QStringList>
#include <QTimer>
#include <QVariant>

#include <algorithm>
#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>
