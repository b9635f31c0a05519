// omhello-qml: a QML application of libomplatform. The document main.qml
// imports om.platform, posts a notification and shows the device's
// notification mode; this program only runs it.

#include <QCoreApplication>
#include <QDir>
#include <QQmlApplicationEngine>
#include <QUrl>

int main(int argc, char *argv[])
{
    QCoreApplication app(argc, argv);
    QQmlApplicationEngine engine;
#ifdef OM_QML_IMPORT_DIR
    // Where the library installed its QML module. Under Qt's own prefix it
    // is on the import path already; elsewhere QML2_IMPORT_PATH (Qt 5) or
    // QML_IMPORT_PATH (Qt 6) would name it as well as this does.
    engine.addImportPath(QStringLiteral(OM_QML_IMPORT_DIR));
#endif
    QObject::connect(&engine, &QQmlApplicationEngine::objectCreated, &app,
                     [](QObject *object, const QUrl &) {
                         if (!object)
                             QCoreApplication::exit(1);
                     },
                     Qt::QueuedConnection);
    engine.load(QUrl::fromLocalFile(QDir(QStringLiteral(OM_QML_DOCUMENT_DIR)).filePath(QStringLiteral("main.qml"))));
    return app.exec();
}
