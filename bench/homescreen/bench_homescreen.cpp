// What the home screen's calls cost on the simulated device: a wallpaper and
// a navigator request (one round trip each), a read of the OS version (a
// connection opened and closed each time), and a property read that finds
// nothing new.

#include <om/platform/homescreen.h>
#include <om/platform/platforminfo.h>

#include <oms/navigator.h>
#include <oms/oms.h>

#include "deviceprocess.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest/QTest>

using om::platform::HomeScreen;
using om::platform::PlatformInfo;

class bench_HomeScreen : public QObject
{
    Q_OBJECT

private:
    omtest::DeviceProcess m_device;
    QTemporaryDir m_files;
    QString m_image;

private Q_SLOTS:
    void initTestCase()
    {
        QVERIFY(m_device.start());
        m_image = m_files.path() + QStringLiteral("/wall.png");
        QFile file(m_image);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(64 * 1024, 'x'));
    }

    void setWallpaper()
    {
        HomeScreen home;
        const QUrl url = QUrl::fromLocalFile(m_image);
        QBENCHMARK
        {
            QVERIFY(home.setWallpaper(url));
        }
    }

    void navigatorRequest()
    {
        QCOMPARE(oms_initialize(), 0);
        QBENCHMARK
        {
            QCOMPARE(navigator_set_badge(NAVIGATOR_BADGE_SPLAT), 0);
        }
        oms_shutdown();
    }

    void osVersion()
    {
        PlatformInfo info;
        QBENCHMARK
        {
            QCOMPARE(info.osVersion(), QStringLiteral("3.1.2.1017"));
        }
    }

    void lockStateWithNothingNew()
    {
        HomeScreen home;
        QBENCHMARK
        {
            home.lockState();
        }
    }
};

QTEST_GUILESS_MAIN(bench_HomeScreen)

#include "bench_homescreen.moc"
