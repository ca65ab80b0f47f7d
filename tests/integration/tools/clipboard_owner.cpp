// velko-test-clipboard-owner [--slow=MIN-MAX] TYPE=FILE...: a Qt application that copies one item
// offering each MIME type with the bytes of its file, as an image with a caption is copied (xclip
// offers one type only). With --slow it takes MIN to MAX milliseconds to give each requested type,
// as a busy application does. Prints "owned" once it holds the CLIPBOARD; runs until killed.
#include <QClipboard>
#include <QFile>
#include <QGuiApplication>
#include <QMimeData>
#include <QRandomGenerator>
#include <QThread>
#include <QTimer>
#include <cstdio>

namespace {
class SlowData : public QMimeData {
public:
    int least = 0, most = 0;

protected:
    QVariant retrieveData(const QString& type, QMetaType as) const override {
        if (most > 0) QThread::msleep(QRandomGenerator::global()->bounded(least, most + 1));
        return QMimeData::retrieveData(type, as);
    }
};
}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    auto* data = new SlowData;
    for (int i = 1; i < argc; ++i) {
        const QString arg = QString::fromLocal8Bit(argv[i]);
        if (arg.startsWith("--slow=")) {
            data->least = arg.section('=', 1).section('-', 0, 0).toInt();
            data->most = arg.section('=', 1).section('-', 1).toInt();
            continue;
        }
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
