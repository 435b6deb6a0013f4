#include "../support/MetaText.h"
#include "../support/SignalLog.h"
#include "KvAppSetting.h"
#include "platform/Files.h"
#include "platform/Platform.h"

#include <QtCore/QSet>
#include <QtTest/QTest>

#include <functional>

using namespace Qt::StringLiterals;

Q_DECLARE_METATYPE(std::function<void(KvAppSetting &)>)

namespace {

using Change = std::function<void(KvAppSetting &)>;

/** Files that a test can take away. */
class FewFiles final : public KvPlatform::Files
{
public:
    QSet<QString> paths;

    bool exists(const QString &path) const override { return paths.contains(path); }
};

/** All that can be read from a setting, to see what an operation leaves alone. */
QStringList contents(const KvAppSetting &setting)
{
    QStringList texts;
    for (int index = QObject::staticMetaObject.propertyCount(); index < setting.metaObject()->propertyCount();
         ++index) {
        const QMetaProperty property = setting.metaObject()->property(index);
        const QVariant value = property.read(&setting);
        const QString text =
            value.metaType() == QMetaType::fromType<QStringList>() ? value.toStringList().join(u'|') : value.toString();
        texts.append(QString::fromLatin1(property.name()) + u'=' + text);
    }
    return texts << u"launcherName="_s + setting.launcherName();
}

/** A setting in which nothing is as at the start. */
void fill(KvAppSetting &setting, const QString &mark)
{
    setting.setMonitorModel(u"model "_s + mark);
    setting.setColorMode(KvAppSetting::ModeRTS);
    setting.setDisplayName(u"name "_s + mark);
    setting.setIcon(u"image://app/"_s + mark);
    setting.setExecutable(u"C:/"_s + mark + u".exe"_s);
    setting.setExecutableList({u"C:/"_s + mark + u".exe"_s, u"D:/other.exe"_s});
    setting.setAppType(u"type "_s + mark);
    setting.setHasSelected(true);
    setting.setAppExist(false);
    setting.setIgnoreExeFullPath(true);
    setting.setPlatform(KvAppSetting::Riot);
    setting.setLauncherName(u"launcher "_s + mark);
}

} // namespace

class tst_KvAppSetting : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void cleanup() { KvPlatform::Platform::setCurrent(nullptr); }
    void declaresItselfToQml();
    void declaresItsPropertiesInOrder();
    void declaresItsSignalsInOrder();
    void hasNeitherSlotsNorInvokables();
    void enumerations();
    void startsWithDefaults();
    void defaultTextsAreNotNull();
    void takesConstructorArguments();
    void becomesChildOfItsParent();
    void settersEmitOnAChangeOnly_data();
    void settersEmitOnAChangeOnly();
    void launcherNameIsSilent();
    void sameExecutableIsAnnouncedAgain();
    void executableReplacesTheList();
    void fileNameFollowsTheExecutable_data();
    void fileNameFollowsTheExecutable();
    void equalListEmitsNothing_data();
    void equalListEmitsNothing();
    void listLeavesFileNameAlone();
    void iconPath_data();
    void iconPath();
    void sameIconFileEmitsNothing();
    void emptyIconFileClearsTheIcon();
    void missingFileIsAnnouncedEachTime();
    void existingFileChangesNothing();
    void onlyTheFirstExecutableIsLookedFor();
    void checkWithoutExecutablesDoesNotCrash();
    void updateFromNothing();
    void updateCopiesSilently();
    void updateFromItself();
    void resetClearsSilently();

private:
    static std::shared_ptr<FewFiles> useFewFiles();
};

std::shared_ptr<FewFiles> tst_KvAppSetting::useFewFiles()
{
    auto files = std::make_shared<FewFiles>();
    auto platform = std::make_shared<KvPlatform::Platform>();
    platform->files = files;
    KvPlatform::Platform::setCurrent(platform);
    return files;
}

void tst_KvAppSetting::declaresItselfToQml()
{
    QCOMPARE(MetaText::classInfos(KvAppSetting::staticMetaObject), QStringList{u"QML.Element=auto"_s});
}

void tst_KvAppSetting::declaresItsPropertiesInOrder()
{
    const QStringList expected{
        u"QString monitorModel NOTIFY monitorModelChanged"_s,
        u"KvAppSetting::ColorMode colorMode NOTIFY colorModeChanged"_s,
        u"QString displayName NOTIFY displayNameChanged"_s,
        u"QString icon NOTIFY iconChanged"_s,
        u"QString executable NOTIFY executableChanged"_s,
        u"QStringList executableList NOTIFY executableListChanged"_s,
        u"QString appType NOTIFY appTypeChanged"_s,
        u"bool hasSelected NOTIFY hasSelectedChanged"_s,
        u"bool appExist NOTIFY appExistChanged"_s,
        u"bool ignoreExeFullPath NOTIFY ignoreExeFullPathChanged"_s,
        u"QString fileName NOTIFY fileNameChanged"_s,
        u"KvAppSetting::AppPlatform platform NOTIFY platformChanged"_s,
    };
    QCOMPARE(MetaText::properties(KvAppSetting::staticMetaObject), expected);
}

void tst_KvAppSetting::declaresItsSignalsInOrder()
{
    const QStringList expected{
        u"monitorModelChanged()"_s, u"colorModeChanged()"_s,
        u"displayNameChanged()"_s,  u"iconChanged()"_s,
        u"executableChanged()"_s,   u"executableListChanged()"_s,
        u"appTypeChanged()"_s,      u"hasSelectedChanged()"_s,
        u"appExistChanged()"_s,     u"ignoreExeFullPathChanged()"_s,
        u"fileNameChanged()"_s,     u"platformChanged()"_s,
    };
    QCOMPARE(MetaText::methods(KvAppSetting::staticMetaObject, QMetaMethod::Signal), expected);
}

void tst_KvAppSetting::hasNeitherSlotsNorInvokables()
{
    QCOMPARE(MetaText::methods(KvAppSetting::staticMetaObject, QMetaMethod::Slot), QStringList());
    QCOMPARE(MetaText::methods(KvAppSetting::staticMetaObject, QMetaMethod::Method), QStringList());
}

void tst_KvAppSetting::enumerations()
{
    const QStringList expected{
        u"AppPlatform: Steam 0, Epic 1, Ubisoft 2, Origin 3, Riot 4, WeGame 5, None 6"_s,
        u"AppType: Game 0, Tool 1"_s,
        u"ColorMode: ModeStandard 0, ModeFPS1 1, ModeFPS2 2, ModeFPS3 3, ModeRTS 4, ModeGamer1 5, ModeGamer2 6, "
        "ModeGamer3 7, ModeMovie 8, ModeOff 9"_s,
    };
    QCOMPARE(MetaText::enumerations(KvAppSetting::staticMetaObject), expected);
}

void tst_KvAppSetting::startsWithDefaults()
{
    const KvAppSetting setting;
    QCOMPARE(setting.parent(), nullptr);
    QCOMPARE(setting.colorMode(), KvAppSetting::ModeOff);
    QCOMPARE(setting.platform(), KvAppSetting::None);
    QCOMPARE(setting.hasSelected(), false);
    QCOMPARE(setting.appExist(), true);
    QCOMPARE(setting.ignoreExeFullPath(), false);
    QCOMPARE(setting.executable(), QString());
    QCOMPARE(setting.executableList(), QStringList());
    const QStringList texts{setting.monitorModel(), setting.displayName(), setting.icon(),
                            setting.appType(),      setting.fileName(),    setting.launcherName()};
    QCOMPARE(texts.join(QString()), QString());
}

void tst_KvAppSetting::defaultTextsAreNotNull()
{
    const KvAppSetting setting;
    QVERIFY(!setting.monitorModel().isNull());
    QVERIFY(!setting.displayName().isNull());
    QVERIFY(!setting.icon().isNull());
    QVERIFY(!setting.appType().isNull());
    QVERIFY(!setting.executable().isNull());
    QVERIFY(!KvAppSetting::getIconFilepath(QString()).isNull());
}

void tst_KvAppSetting::takesConstructorArguments()
{
    const KvAppSetting setting(nullptr, u"KV-27"_s, KvAppSetting::ModeMovie, u"Chess"_s, u"image://app/x"_s,
                               {u"C:/a/chess.exe"_s, u"C:/b/chess.exe"_s}, u"game"_s);
    QCOMPARE(setting.monitorModel(), u"KV-27"_s);
    QCOMPARE(setting.colorMode(), KvAppSetting::ModeMovie);
    QCOMPARE(setting.displayName(), u"Chess"_s);
    QCOMPARE(setting.icon(), u"image://app/x"_s);
    QCOMPARE(setting.executable(), u"C:/a/chess.exe"_s);
    QCOMPARE(setting.executableList(), QStringList({u"C:/a/chess.exe"_s, u"C:/b/chess.exe"_s}));
    QCOMPARE(setting.appType(), u"game"_s);
    QCOMPARE(setting.fileName(), QString());
}

void tst_KvAppSetting::becomesChildOfItsParent()
{
    QObject parent;
    const auto *const setting = new KvAppSetting(&parent);
    QCOMPARE(setting->parent(), &parent);
}

void tst_KvAppSetting::settersEmitOnAChangeOnly_data()
{
    QTest::addColumn<QByteArray>("property");
    QTest::addColumn<Change>("change");
    QTest::addColumn<QVariant>("value");
    const auto row = [](const char *property, const Change &change, const QVariant &value) {
        QTest::newRow(property) << QByteArray(property) << change << value;
    };
    row(
        "monitorModel", [](KvAppSetting &setting) { setting.setMonitorModel(u"KV-27"_s); }, u"KV-27"_s);
    row(
        "colorMode", [](KvAppSetting &setting) { setting.setColorMode(KvAppSetting::ModeStandard); }, 0);
    row(
        "displayName", [](KvAppSetting &setting) { setting.setDisplayName(u"Chess"_s); }, u"Chess"_s);
    row(
        "icon", [](KvAppSetting &setting) { setting.setIcon(u"image://app/x"_s); }, u"image://app/x"_s);
    row(
        "executableList",
        [](KvAppSetting &setting) {
            setting.setExecutableList({u"a"_s, u"b"_s});
        },
        QStringList{u"a"_s, u"b"_s});
    row(
        "appType", [](KvAppSetting &setting) { setting.setAppType(u"game"_s); }, u"game"_s);
    row(
        "hasSelected", [](KvAppSetting &setting) { setting.setHasSelected(true); }, true);
    row(
        "appExist", [](KvAppSetting &setting) { setting.setAppExist(false); }, false);
    row(
        "ignoreExeFullPath", [](KvAppSetting &setting) { setting.setIgnoreExeFullPath(true); }, true);
    row(
        "platform", [](KvAppSetting &setting) { setting.setPlatform(KvAppSetting::Steam); }, 0);
}

void tst_KvAppSetting::settersEmitOnAChangeOnly()
{
    QFETCH(QByteArray, property);
    QFETCH(Change, change);
    QFETCH(QVariant, value);
    KvAppSetting setting;
    SignalLog log(&setting);
    change(setting);
    const QVariant read = setting.property(property.constData());
    QCOMPARE(value.metaType() == QMetaType::fromType<int>() ? QVariant(read.toInt()) : read, value);
    QCOMPARE(log.take(), QStringList{QString::fromLatin1(property) + u"Changed"_s});
    change(setting);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::launcherNameIsSilent()
{
    KvAppSetting setting;
    SignalLog log(&setting);
    setting.setLauncherName(u"LineLauncher.exe"_s);
    setting.setLauncherName(u"LineLauncher.exe"_s);
    QCOMPARE(setting.launcherName(), u"LineLauncher.exe"_s);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::sameExecutableIsAnnouncedAgain()
{
    KvAppSetting setting;
    SignalLog log(&setting);
    setting.setExecutable(u"C:/a/chess.exe"_s);
    QCOMPARE(log.take(), QStringList({u"fileNameChanged"_s, u"executableChanged"_s}));
    setting.setExecutable(u"C:/a/chess.exe"_s);
    QCOMPARE(log.take(), QStringList{u"executableChanged"_s});
    setting.setExecutable(u"C:/b/chess.exe"_s);
    QCOMPARE(log.take(), QStringList{u"executableChanged"_s});
    setting.setExecutable(u"C:/b/go.exe"_s);
    QCOMPARE(log.take(), QStringList({u"fileNameChanged"_s, u"executableChanged"_s}));
}

void tst_KvAppSetting::executableReplacesTheList()
{
    KvAppSetting setting;
    setting.setExecutableList({u"a"_s, u"b"_s, u"c"_s});
    setting.setExecutable(u"d"_s);
    QCOMPARE(setting.executableList(), QStringList{u"d"_s});
    setting.setExecutable(QString());
    QCOMPARE(setting.executableList(), QStringList{QString()});
    setting.setExecutableList({u"first"_s, u"second"_s});
    QCOMPARE(setting.executable(), u"first"_s);
}

void tst_KvAppSetting::fileNameFollowsTheExecutable_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("fileName");
    QTest::newRow("slashes") << u"C:/Games/x.exe"_s << u"x.exe"_s;
    QTest::newRow("backslashes") << u"C:\\Games\\x.exe"_s << u"x.exe"_s;
    QTest::newRow("share") << u"\\\\server\\share\\x.exe"_s << u"x.exe"_s;
    QTest::newRow("name only") << u"x.exe"_s << u"x.exe"_s;
    QTest::newRow("folder") << u"C:/Games/"_s << QString();
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("umlauts and blanks") << u"C:/Spiele/Schöne Grüße.exe"_s << u"Schöne Grüße.exe"_s;
}

void tst_KvAppSetting::fileNameFollowsTheExecutable()
{
    QFETCH(QString, path);
    KvAppSetting setting;
    setting.setExecutable(u"C:/before.exe"_s);
    setting.setExecutable(path);
    QTEST(setting.fileName(), "fileName");
    QCOMPARE(setting.executable(), path);
}

void tst_KvAppSetting::equalListEmitsNothing_data()
{
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<int>("emitted");
    const QStringList same{u"C:/a.exe"_s, u"C:/b.exe"_s};
    QTest::newRow("equal") << QStringList{u"C:/a.exe"_s, u"C:/b.exe"_s} << 0;
    QTest::newRow("other order") << QStringList{u"C:/b.exe"_s, u"C:/a.exe"_s} << 1;
    QTest::newRow("other letter case") << QStringList{u"C:/A.exe"_s, u"C:/b.exe"_s} << 1;
    QTest::newRow("shorter") << QStringList{u"C:/a.exe"_s} << 1;
    QTest::newRow("longer") << same + QStringList{u"C:/c.exe"_s} << 1;
    QTest::newRow("empty") << QStringList() << 1;
}

void tst_KvAppSetting::equalListEmitsNothing()
{
    QFETCH(QStringList, list);
    QFETCH(int, emitted);
    KvAppSetting setting;
    setting.setExecutableList({u"C:/a.exe"_s, u"C:/b.exe"_s});
    SignalLog log(&setting);
    setting.setExecutableList(list);
    QCOMPARE(setting.executableList(), list);
    QCOMPARE(log.take(), QStringList(emitted, u"executableListChanged"_s));
    setting.setExecutableList(setting.executableList());
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::listLeavesFileNameAlone()
{
    KvAppSetting setting;
    setting.setExecutableList({u"C:/Games/x.exe"_s});
    QCOMPARE(setting.fileName(), QString());
    setting.setExecutable(u"C:/Games/x.exe"_s);
    setting.setExecutableList({u"C:/Games/y.exe"_s});
    QCOMPARE(setting.fileName(), u"x.exe"_s);
}

void tst_KvAppSetting::iconPath_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<QString>("icon");
    QTest::newRow("nothing") << QString() << QString();
    QTest::newRow("slashes") << u"C:/Games/x.exe"_s << u"image://app/C:/Games/x.exe"_s;
    QTest::newRow("backslashes") << u"C:\\Games\\x.exe"_s << u"image://app/C:/Games/x.exe"_s;
    QTest::newRow("blanks") << u"C:/My Games/x y.exe"_s << u"image://app/C:/My Games/x y.exe"_s;
    QTest::newRow("umlauts") << u"C:/Spiele/größer.exe"_s << u"image://app/C:/Spiele/größer.exe"_s;
    QTest::newRow("percent") << u"C:/100%/x%20y.exe"_s << u"image://app/C:/100%25/x%2520y.exe"_s;
    QTest::newRow("hash") << u"C:/C#/x.exe"_s << u"image://app/C:/C%23/x.exe"_s;
    QTest::newRow("question mark") << u"C:/what?/x.exe"_s << u"image://app/C:/what%3F/x.exe"_s;
    QTest::newRow("share gives way to the provider") << u"\\\\server\\share\\x.exe"_s << u"image://app/share/x.exe"_s;
    QTest::newRow("long path") << u"\\\\?\\C:\\Games\\x.exe"_s << u"image://app/C:/Games/x.exe"_s;
}

void tst_KvAppSetting::iconPath()
{
    QFETCH(QString, path);
    QFETCH(QString, icon);
    QCOMPARE(KvAppSetting::getIconFilepath(path), icon);
    KvAppSetting setting;
    setting.setIconFile(path);
    QCOMPARE(setting.icon(), icon);
}

void tst_KvAppSetting::sameIconFileEmitsNothing()
{
    KvAppSetting setting;
    SignalLog log(&setting);
    setting.setIconFile(u"C:/Games/x.exe"_s);
    QCOMPARE(log.take(), QStringList{u"iconChanged"_s});
    setting.setIconFile(u"C:/Games/x.exe"_s);
    setting.setIconFile(u"C:\\Games\\x.exe"_s);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::emptyIconFileClearsTheIcon()
{
    KvAppSetting setting;
    setting.setIcon(u"image://app/C:/Games/x.exe"_s);
    SignalLog log(&setting);
    setting.setIconFile(u""_s);
    QCOMPARE(setting.icon(), QString());
    QCOMPARE(log.take(), QStringList{u"iconChanged"_s});
    setting.setIconFile(u""_s);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::missingFileIsAnnouncedEachTime()
{
    useFewFiles();
    KvAppSetting setting;
    setting.setExecutable(u"C:/gone.exe"_s);
    SignalLog log(&setting);
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), false);
    QCOMPARE(log.take(), QStringList{u"appExistChanged"_s});
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), false);
    QCOMPARE(log.take(), QStringList{u"appExistChanged"_s});
}

void tst_KvAppSetting::existingFileChangesNothing()
{
    const std::shared_ptr<FewFiles> files = useFewFiles();
    KvAppSetting setting;
    setting.setExecutable(u"C:/x.exe"_s);
    setting.checkAppExist();
    files->paths.insert(u"C:/x.exe"_s);
    SignalLog log(&setting);
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), false);
    setting.setAppExist(true);
    QCOMPARE(log.take(), QStringList{u"appExistChanged"_s});
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), true);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::onlyTheFirstExecutableIsLookedFor()
{
    const std::shared_ptr<FewFiles> files = useFewFiles();
    files->paths.insert(u"C:/second.exe"_s);
    KvAppSetting setting;
    setting.setExecutableList({u"C:/first.exe"_s, u"C:/second.exe"_s});
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), false);
    setting.setAppExist(true);
    setting.setExecutableList({u"C:/second.exe"_s, u"C:/first.exe"_s});
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), true);
}

void tst_KvAppSetting::checkWithoutExecutablesDoesNotCrash()
{
    useFewFiles();
    KvAppSetting setting;
    setting.checkAppExist();
    QCOMPARE(setting.appExist(), false);
}

void tst_KvAppSetting::updateFromNothing()
{
    KvAppSetting setting;
    fill(setting, u"a"_s);
    const QStringList before = contents(setting);
    SignalLog log(&setting);
    setting.update(nullptr);
    QCOMPARE(contents(setting), before);
    QCOMPARE(log.take(), QStringList());
}

void tst_KvAppSetting::updateCopiesSilently()
{
    KvAppSetting setting;
    KvAppSetting other;
    fill(other, u"b"_s);
    SignalLog log(&setting);
    SignalLog otherLog(&other);
    setting.update(&other);
    const QStringList expected{
        u"monitorModel=model b"_s,    u"colorMode=ModeRTS"_s,   u"displayName=name b"_s,
        u"icon=image://app/b"_s,      u"executable=C:/b.exe"_s, u"executableList=C:/b.exe|D:/other.exe"_s,
        u"appType=type b"_s,          u"hasSelected=false"_s,   u"appExist=true"_s,
        u"ignoreExeFullPath=false"_s, u"fileName="_s,           u"platform=None"_s,
        u"launcherName="_s,
    };
    QCOMPARE(contents(setting), expected);
    QCOMPARE(log.take(), QStringList());
    QCOMPARE(otherLog.take(), QStringList());
}

void tst_KvAppSetting::updateFromItself()
{
    KvAppSetting setting;
    fill(setting, u"a"_s);
    const QStringList before = contents(setting);
    setting.update(&setting);
    QCOMPARE(contents(setting), before);
}

void tst_KvAppSetting::resetClearsSilently()
{
    KvAppSetting setting;
    fill(setting, u"a"_s);
    SignalLog log(&setting);
    setting.reset();
    const QStringList expected{
        u"monitorModel="_s,
        u"colorMode=ModeOff"_s,
        u"displayName="_s,
        u"icon="_s,
        u"executable="_s,
        u"executableList="_s,
        u"appType="_s,
        u"hasSelected=true"_s,
        u"appExist=false"_s,
        u"ignoreExeFullPath=true"_s,
        u"fileName=a.exe"_s,
        u"platform=Riot"_s,
        u"launcherName=launcher a"_s,
    };
    QCOMPARE(contents(setting), expected);
    QCOMPARE(log.take(), QStringList());
}

QTEST_GUILESS_MAIN(tst_KvAppSetting)
#include "tst_kvappsetting.moc"
