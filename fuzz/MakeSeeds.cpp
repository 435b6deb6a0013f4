#include "../tests/support/IconBuilder.h"
#include "../tests/support/PeBuilder.h"
#include "../tests/support/ShellLinkBuilder.h"
#include "../tests/support/VersionBuilder.h"

#include <QtCore/QDir>
#include <QtCore/QFile>

#include <cstdio>

/*
 * Writes the seeds of the fuzzers, one folder for each, below the folder given as the only argument.
 */

namespace {

using Seeds = QList<QByteArray>;

bool writeSeeds(const QString &folder, const Seeds &seeds)
{
    bool isWritten = QDir().mkpath(folder);
    for (qsizetype i = 0; i < seeds.size(); ++i) {
        QFile file(folder + QStringLiteral("/seed%1").arg(i));
        isWritten = isWritten && file.open(QIODevice::WriteOnly) && file.write(seeds.at(i)) == seeds.at(i).size();
    }
    return isWritten;
}

Seeds shellLinks()
{
    ShellLinkBuilder full;
    full.idItems = ShellLinkBuilder::idList(QStringLiteral("C:\\Games\\play.exe"));
    full.localPath = QStringLiteral("C:\\Games\\play.exe");
    full.environmentPath = QStringLiteral("%ProgramFiles%\\play.exe");
    full.description = QStringLiteral("Plays");
    full.arguments = QStringLiteral("--full");
    ShellLinkBuilder old = full;
    old.idItems = ShellLinkBuilder::idList(QStringLiteral("D:\\a.exe"), 3);
    old.unicode = false;
    old.hasLastBlock = false;
    ShellLinkBuilder network;
    network.idItems = QList<QByteArray>{ShellLinkBuilder::rootItem(ShellLinkBuilder::networkFolder()),
                                        ShellLinkBuilder::networkItem(0xC3, QStringLiteral("\\\\nas\\s"))};
    network.networkShare = QStringLiteral("\\\\nas\\s");
    network.pathSuffix = QStringLiteral("a.exe");
    network.unicodeLinkInfo = true;
    return {ShellLinkBuilder().build(), full.build(), old.build(), network.build()};
}

VersionBuilder version()
{
    VersionBuilder builder;
    builder.tables = {{0x0409, 0x04B0, {{QStringLiteral("ProductName"), QStringLiteral("Notes")}}}};
    return builder;
}

Seeds programs()
{
    PeBuilder program;
    program.addVersion(version().build());
    program.addIcon(1, {{16, 16, 32, "image"}});
    PeBuilder program32 = program;
    program32.is64Bit = false;
    program32.resources.append({PeBuilder::GroupIconType, 0, 0, "data", QStringLiteral("MAINICON")});
    return {program.build(), program32.build()};
}

/** A bitmap of every depth, and a PNG. */
QList<PeBuilder::IconImage> iconImages()
{
    QList<PeBuilder::IconImage> images;
    for (const int bitCount : {1, 4, 8, 16, 24, 32}) {
        DibBuilder bitmap = DibBuilder::plain(3, 1);
        bitmap.bitCount = bitCount;
        if (bitCount <= 8)
            bitmap.palette = {0x000000, 0xFF0000};
        images.append({3, 3, static_cast<quint16>(bitCount), bitmap.build()});
    }
    images.append({4, 4, 32, IconBuilder::plainPng(4, 0x80FF0000)});
    return images;
}

Seeds iconFiles()
{
    const QList<PeBuilder::IconImage> images = iconImages();
    Seeds seeds{IconBuilder::file(images)};
    for (const PeBuilder::IconImage &image : images)
        seeds.append(IconBuilder::file({image}));
    return seeds;
}

Seeds programsWithIcons()
{
    const QList<PeBuilder::IconImage> images = iconImages();
    PeBuilder program;
    program.addIcon(1, images.first(3), 1);
    program.addIcon(2, images.last(4), 4);
    PeBuilder program32;
    program32.is64Bit = false;
    program32.addIcon(1, images.last(1));
    program32.addIcon(1, images.last(2), 2);
    program32.resources.last().textName = QStringLiteral("MAINICON");
    return {program.build(), program32.build()};
}

Seeds registryTexts()
{
    const QString wide = QStringLiteral("Windows Registry Editor Version 5.00\r\n[HKEY_USERS\\A]\r\n@=\"x\"\r\n");
    const QByteArray values = "[HKEY_USERS\\A]\r\n\"n\"=\"C:\\\\a \\\"b\\\"\"\r\n\"d\"=dword:0000002a ; c\r\n"
                              "\"b\"=hex:01,\\\r\n  02\r\n\"e\"=hex(2):25,00,00,00\r\n\"g\"=-\r\n"
                              "\"l\"=hex(7):41,00,00,00,00,00\r\n\"q\"=hex(b):01,00,00,00,00,00,00,00\r\n"
                              "\"m\"=\"a\r\nb\"\r\n[-HKEY_USERS\\B]\r\n";
    return {ByteWriter().u16(0xFEFF).utf16(wide).result(), "Windows Registry Editor Version 5.00\r\n\r\n" + values,
            "REGEDIT4\r\n" + values};
}

} // namespace

int main(int argumentCount, char **arguments)
{
    if (argumentCount != 2) {
        std::fputs("usage: MakeSeeds FOLDER\n", stderr);
        return 2;
    }
    const QString folder = QFile::decodeName(arguments[1]);
    const bool isWritten = writeSeeds(folder + QStringLiteral("/fuzz_iconfile"), iconFiles()) &&
                           writeSeeds(folder + QStringLiteral("/fuzz_pefile"), programs()) &&
                           writeSeeds(folder + QStringLiteral("/fuzz_peicons"), programsWithIcons()) &&
                           writeSeeds(folder + QStringLiteral("/fuzz_registrytext"), registryTexts()) &&
                           writeSeeds(folder + QStringLiteral("/fuzz_shelllinkfile"), shellLinks()) &&
                           writeSeeds(folder + QStringLiteral("/fuzz_versioninfo"), {version().build()});
    if (!isWritten)
        std::fputs("the seeds could not be written\n", stderr);
    return isWritten ? 0 : 1;
}
