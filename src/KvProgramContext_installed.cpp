#include "KvProgramContext_p.h"

#include "KvRegistrySpy.h"
#include "platform/Files.h"
#include "platform/Folders.h"
#include "platform/VersionResources.h"
#include "platform/WindowsPath.h"

#include <QtCore/QtEndian>

namespace {

const QList<QString> &standardVersionKeys()
{
    // Never destroyed: a background job may still ask while the process ends.
    static const auto *const keys = new QList<QString>{
        QStringLiteral("Comments"),        QStringLiteral("InternalName"),     QStringLiteral("ProductName"),
        QStringLiteral("CompanyName"),     QStringLiteral("LegalCopyright"),   QStringLiteral("ProductVersion"),
        QStringLiteral("FileDescription"), QStringLiteral("LegalTrademarks"),  QStringLiteral("PrivateBuild"),
        QStringLiteral("FileVersion"),     QStringLiteral("OriginalFilename"), QStringLiteral("SpecialBuild"),
    };
    return *keys;
}

/** The pair of language and code page, as eight digits, whose string table is to be read. */
QString chooseTranslation(const QByteArray &translations, quint16 userLanguage)
{
    constexpr qsizetype PairSize = 4;
    QString choice;
    for (qsizetype at = 0; at + PairSize <= translations.size(); at += PairSize) {
        const auto language = qFromLittleEndian<quint16>(translations.constData() + at);
        const auto codePage = qFromLittleEndian<quint16>(translations.constData() + at + 2);
        const bool wanted = at > 0 && language == userLanguage;
        if (at == 0 || wanted)
            choice = QString::asprintf("%04x%04x", unsigned(language), unsigned(codePage));
        if (wanted)
            break;
    }
    return choice;
}

/** The file below a well-known folder; a null text if there is none. */
QString fileInFolder(const KvPlatform::Platform &platform, KvPlatform::Folder folder, const QString &app)
{
    const std::optional<QString> path = platform.folders->path(folder, {});
    if (!path)
        return QString();
    const QString file = WindowsPath::fromNativeSeparators(*path + QLatin1Char('/') + app);
    return platform.files->exists(file) ? file : QString();
}

} // namespace

QString KvProgramContext::appInstalledPath(const QString &app)
{
    // The folder of all programs is there, but it is none: a link to a virtual folder asks for an empty name.
    if (app.isEmpty())
        return QString();
    const std::shared_ptr<const KvPlatform::Platform> platform = KvPlatform::Platform::current();
    const QString name = WindowsPath::fileName(app);
    for (const char *const root : {"@HKCU", "HKLM"}) {
        const QString path =
            QLatin1String(root) + QLatin1String("\\Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\") + name;
        QString file = KvRegistrySpy::readValue(path, QVariant()).toString();
        if (!file.isEmpty() && platform->files->exists(file))
            return file;
    }
    for (const KvPlatform::Folder folder : {KvPlatform::Folder::ProgramFiles, KvPlatform::Folder::ProgramFilesX86}) {
        QString file = fileInFolder(*platform, folder, app);
        if (!file.isEmpty())
            return file;
    }
    return QString();
}

QMap<QString, QString> KvProgramContext::appVersionInfo(const QString &filePath, const QList<QString> &keys)
{
    const std::shared_ptr<KvPlatform::VersionResources> versions = KvPlatform::Platform::current()->versions;
    const auto block = versions->load(WindowsPath::toNativeSeparators(filePath));
    if (!block)
        return {};
    const std::optional<QByteArray> translations = block->binary(QStringLiteral("\\VarFileInfo\\Translation"));
    if (!translations)
        return {};
    const QString table = QLatin1String("\\StringFileInfo\\") +
                          chooseTranslation(*translations, versions->userInterfaceLanguage()) + QLatin1Char('\\');
    QMap<QString, QString> info;
    for (const QString &key : keys.isEmpty() ? standardVersionKeys() : keys) {
        const std::optional<KvPlatform::VersionText> text = block->text(table + key);
        if (text && text->length > 1)
            info.insert(key, text->text);
    }
    return info;
}

QString KvProgramContext::appVersionNumber(const QString &filePath)
{
    const QMap<QString, QString> info = appVersionInfo(filePath, {QStringLiteral("ProductVersion")});
    return info.isEmpty() ? QString() : info.first();
}
