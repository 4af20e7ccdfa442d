// What the model store costs: MB a second hashed and unpacked, beside sha256sum and bsdtar in the same run;
// how long the main thread stands still, and how much memory is taken, while a model of 1 GB is installed
// from a server beside. Fails where the installation does, or keeps the main thread busy for longer than a
// frame. The files lie in TMPDIR. Needs 4 GB there.

#include "BusyTime.h"
#include "platform/linux/LinuxMainQueue.h"
#include "platform/linux/models/Checksum.h"
#include "platform/linux/models/LinuxModelStore.h"
#include "platform/linux/models/Unpacking.h"
#include "support/ChildProcess.h"
#include "support/ThrowAwayAuthority.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSslKey>
#include <QTemporaryDir>
#include <QTimer>

#include <cstdio>
#include <random>
#include <vector>

using namespace Qt::StringLiterals;
using namespace quillora;
using namespace platform;
using namespace std::chrono_literals;

namespace {

constexpr auto wanted = [] { return false; };
constexpr double frame = 16; ///< milliseconds

/// Half of it can be packed, as of weights.
void writeModel(const QString &path, qint64 size) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly))
        throw std::runtime_error("cannot write " + path.toStdString());
    std::mt19937_64 random(1);
    std::vector<quint64> block(1 << 17);
    for (qint64 written = 0; written < size; written += qint64{1} << 20) {
        for (quint64 &word : block)
            word = random() & 0x0f0f0f0f0f0f0f0f;
        file.write(reinterpret_cast<const char *>(block.data()), qint64{1} << 20);
    }
}

void run(const QString &program, const QStringList &arguments) {
    QProcess process;
    process.setStandardOutputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (!process.waitForFinished(-1) || process.exitCode() != 0)
        throw std::runtime_error(program.toStdString() + " failed");
}

void report(const char *what, qint64 bytes, const std::function<void()> &ours, const char *other,
            const std::function<void()> &theirs) {
    const auto speed = [&](const std::function<void()> &work) {
        QElapsedTimer clock;
        clock.start();
        work();
        return static_cast<double>(bytes) / 1e3 / static_cast<double>(std::max<qint64>(1, clock.elapsed()));
    };
    const double others = speed(theirs), own = speed(ours);
    std::printf("%-22s %7.0f MB/s   %-10s %7.0f MB/s\n", what, own, other, others);
    std::fflush(stdout);
}

qint64 anonymousMemory() {
    QFile status(u"/proc/self/status"_s);
    if (!status.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : status.readAll().split('\n')) {
        if (line.startsWith("RssAnon:"))
            return line.mid(8).trimmed().split(' ').first().toLongLong() * 1024;
    }
    return 0;
}

/// The longest time between two turns of the event loop that are a millisecond apart.
class Heartbeat {
public:
    Heartbeat() {
        m_timer.setTimerType(Qt::PreciseTimer);
        QObject::connect(&m_timer, &QTimer::timeout, &m_timer, [this] { beat(); });
        m_clock.start();
        m_busy = busyNanoseconds();
        m_timer.start(1);
    }
    double longest = 0;     ///< in milliseconds
    double longestBusy = 0; ///< of that, what the processor was ours; the rest is a busy machine's
    qint64 mostMemory = 0;

private:
    void beat() {
        const qint64 busy = busyNanoseconds(), gap = m_clock.nsecsElapsed();
        m_clock.restart();
        longest = std::max(longest, static_cast<double>(gap) / 1e6);
        longestBusy = std::max(longestBusy, static_cast<double>(busy - m_busy) / 1e6);
        m_busy = busy;
        if (++m_count % 20 == 0)
            mostMemory = std::max(mostMemory, anonymousMemory());
    }

    QTimer m_timer;
    QElapsedTimer m_clock;
    qint64 m_busy = 0;
    int m_count = 0;
};

void write(const QString &path, const QByteArray &contents) {
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(contents) != contents.size())
        throw std::runtime_error("cannot write " + path.toStdString());
}

/// A process that serves the folder over HTTPS; prints its port first.
const char *const serverScript = R"(
import functools, http.server, ssl, sys
folder, identity = sys.argv[1:]
handler = functools.partial(http.server.SimpleHTTPRequestHandler, directory=folder)
server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), handler)
context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
context.load_cert_chain(identity)
server.socket = context.wrap_socket(server.socket, server_side=True, do_handshake_on_connect=False)
print(server.server_port, flush=True)
server.serve_forever()
)";

void compareRates(const QTemporaryDir &home) {
    const qint64 size = qint64{16} << 20;
    const QString weights = home.filePath(u"weights"_s);
    writeModel(weights, size);
    report(
        "SHA-256", size, [&] { checksumOf(weights, wanted); }, "sha256sum",
        [&] { run(u"sha256sum"_s, {weights}); });
    for (const QString &ending : {u"tar"_s, u"tar.gz"_s, u"tar.bz2"_s}) {
        const QString archive = home.filePath(u"m."_s + ending);
        run(u"bsdtar"_s, {u"-caf"_s, archive, u"-C"_s, home.path(), u"weights"_s});
        const QString theirs = home.filePath(u"theirs"_s + ending), ours = home.filePath(u"ours"_s + ending);
        QDir().mkpath(theirs);
        QDir().mkpath(ours);
        report(
            qPrintable(ending), size, [&] { unpackArchive(archive, ours, {}, wanted); }, "bsdtar",
            [&] { run(u"bsdtar"_s, {u"-xf"_s, archive, u"-C"_s, theirs}); });
    }
}

/// Whether it went well, and without a stall.
bool install(const QTemporaryDir &home) {
    const QString served = home.filePath(u"served"_s), name = u"m.tar"_s;
    QDir().mkpath(served);
    writeModel(served + u"/weights"_s, qint64{1} << 30);
    run(u"bsdtar"_s, {u"-cf"_s, served + u'/' + name, u"-C"_s, served, u"weights"_s});

    const test::ThrowAwayAuthority authority;
    authority.trustHere();
    const auto identity = authority.issue(u"127.0.0.1"_s);
    const QString pem = home.filePath(u"identity.pem"_s);
    write(pem, identity.privateKey().toPem() + identity.localCertificate().toPem());
    test::ChildProcess server(u"/usr/bin/python3"_s,
                              {u"-c"_s, QString::fromLatin1(serverScript), served, pem});
    server.process().waitForReadyRead(30000);
    const QString port = QString::fromLatin1(server.process().readLine()).trimmed();

    const QString path = served + u'/' + name;
    const QJsonObject file{{u"name"_s, u"model"_s},
                           {u"address"_s, u"https://127.0.0.1:%1/%2"_s.arg(port, name)},
                           {u"packing"_s, u"archive"_s},
                           {u"size"_s, QFileInfo(path).size()},
                           {u"sha256"_s, QString::fromLatin1(checksumOf(path, wanted))}};
    const QJsonObject model{{u"id"_s, u"m"_s},       {u"kind"_s, u"speech"_s},
                            {u"version"_s, u"1"_s},  {u"languages"_s, QJsonArray{u"en"_s}},
                            {u"engine"_s, u"any"_s}, {u"files"_s, QJsonArray{file}}};
    const QByteArray catalog =
        QJsonDocument(QJsonObject{{u"form"_s, 1}, {u"models"_s, QJsonArray{model}}}).toJson();

    LinuxMainQueue queue;
    LinuxModelStore store(queue, {.folders = {home.filePath(u"models"_s), {}},
                                  .catalog = {{{u"catalog"_s, catalog}}, {u"any"_s}}});
    const qint64 memoryBefore = anonymousMemory();
    QElapsedTimer clock;
    clock.start();
    {
        Heartbeat idle;
        test::ChildProcess::waitUntil([&] { return clock.hasExpired(5000); }, 10000);
        std::printf("event loop, idle       longest stall %.1f ms, busy %.1f ms\n", idle.longest,
                    idle.longestBusy);
    }
    Heartbeat heart;
    clock.restart();
    int toldCount = 0;
    store.addObserver([&](const QString &id) {
        ++toldCount;
        const auto state = store.state(id);
        if (!state.progress)
            QCoreApplication::quit();
    });
    store.install(u"m"_s);
    QCoreApplication::exec();
    std::printf("installing 1 GB        %.1f s, told %d times%s\n",
                static_cast<double>(clock.elapsed()) / 1e3, toldCount,
                qPrintable(store.state(u"m"_s).problem));
    const bool isStall = heart.longestBusy > frame;
    std::printf("event loop, installing longest stall %.1f ms, busy %.1f ms: %s\n", heart.longest,
                heart.longestBusy, isStall ? "A STALL" : "within a frame");
    std::printf("memory                 %.1f MB more than before\n",
                static_cast<double>(heart.mostMemory - memoryBefore) / 1e6);
    std::fflush(stdout);
    return store.state(u"m"_s).isInstalled() && !isStall;
}

} // namespace

int main(int argc, char **argv) {
    QCoreApplication application(argc, argv);
    const QString only = QCoreApplication::arguments().value(1);
    const QTemporaryDir home;
    if (only != u"installation")
        compareRates(home);
    return only == u"rates" || install(home) ? 0 : 1;
}
