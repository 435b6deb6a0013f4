#include "Appearance.h"

#include <QtCore/QtGlobal>
#include <QtGui/QGuiApplication>
#include <QtGui/QPalette>
#include <QtQuickControls2/QQuickStyle>

namespace {

QPalette makePalette(const QColor &window, const QColor &base, const QColor &text, const QColor &accent)
{
    QPalette palette(window, window);
    palette.setColor(QPalette::Base, base);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, Qt::white);
    return palette;
}

} // namespace

void Appearance::chooseDisplay(const Options &options)
{
    if (!options.isUnattended() && options.needsWindow())
        return;
#ifndef Q_OS_WIN
    // There the native platform draws without a display too, and it alone knows the system's fonts.
    qputenv("QT_QPA_PLATFORM", "offscreen");
#endif
    qputenv("QT_QUICK_BACKEND", "software");
}

void Appearance::apply(const Options &options)
{
    QQuickStyle::setStyle(QStringLiteral("Basic"));
    if (options.theme == QLatin1String("light"))
        QGuiApplication::setPalette(makePalette(QColor(0xf5f6f8), Qt::white, QColor(0x1b1f24), QColor(0x2563c9)));
    else if (options.theme == QLatin1String("dark"))
        QGuiApplication::setPalette(
            makePalette(QColor(0x17191d), QColor(0x1f2227), QColor(0xe7e9ed), QColor(0x4a86e8)));
}
