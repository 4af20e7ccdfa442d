// A window for `wayland_copying`, which tells it what to do, a line each: "copy TEXT" copies, "say" says
// whether the window is in front. Both are answered with a line.
#include <QClipboard>
#include <QGuiApplication>
#include <QRasterWindow>
#include <QSocketNotifier>

#include <iostream>
#include <string>
#include <unistd.h>

int main(int argc, char **argv) {
    const QGuiApplication application(argc, argv);
    QRasterWindow window;
    window.setTitle(application.arguments().value(1));
    window.resize(300, 200);
    window.show();

    QSocketNotifier commands(STDIN_FILENO, QSocketNotifier::Read);
    QObject::connect(&commands, &QSocketNotifier::activated, &window, [] {
        std::string line;
        if (!std::getline(std::cin, line))
            return QGuiApplication::quit();
        if (line.starts_with("copy "))
            QGuiApplication::clipboard()->setText(QString::fromStdString(line.substr(5)));
        std::cout << (QGuiApplication::focusWindow() ? "in front" : "behind") << std::endl;
    });
    return QGuiApplication::exec();
}
