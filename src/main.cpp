#include "app/application.h"

#include <QDir>

int main(int argc, char* argv[]) {
    qputenv("QT_AUTO_SCREEN_SCALE_FACTOR", "1");
    QGuiApplication::setHighDpiScaleFactorRoundingPolicy(Qt::HighDpiScaleFactorRoundingPolicy::PassThrough);

    Application app(argc, argv, true, Application::User, 1000);
    if (app.isSecondary()) {
        // The first process opens our arguments; the wire text is the working directory, then
        // the arguments, all separated by "<".
        const QByteArray joined = QCoreApplication::arguments().join(QLatin1Char('<')).toUtf8();
        app.sendMessage(joined, QDir::currentPath(), 100, Application::NonBlocking);
        return 0;
    }
    return app.exec();
}
