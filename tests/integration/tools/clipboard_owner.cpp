// velko-test-clipboard-owner TYPE=FILE...: a Qt application that copies one item offering each MIME
// type with the bytes of its file, as an image with a caption is copied (xclip offers one type only).
// Prints "owned" once it holds the CLIPBOARD; runs until killed.
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QTimer>
#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    auto* data = new QMimeData;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        QFile file(arg.section('=', 1));
        if (!arg.contains('=') || !file.open(QIODevice::ReadOnly)) return 2;
        data->setData(arg.section('=', 0, 0), file.readAll());
    }
    QGuiApplication::clipboard()->setMimeData(data);
    QTimer::singleShot(0, [] {
        if (!QGuiApplication::clipboard()->ownsClipboard()) return QCoreApplication::exit(3);
        std::puts("owned");
        std::fflush(stdout);
    });
    return app.exec();
}
