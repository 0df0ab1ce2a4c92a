// Renders the skin's SVG drawings into the PNG and BMP files the program loads at run time.
//
// Usage: sonivert_render_skin SVG_DIR OUT_DIR ENTRY...
// where each ENTRY is NAME:WIDTHxHEIGHT, e.g. img_snv_addfile.png:24x24. The drawing is read from
// SVG_DIR/<NAME without extension>.svg. PNG files are also written at twice the size as
// NAME@2x.png for high-density screens. BMP files carry no alpha channel, so their transparent
// parts are written in the key colour (magenta) that the loader turns back into transparency.

#include <QDir>
#include <QFileInfo>
#include <QGuiApplication>
#include <QImage>
#include <QPainter>
#include <QRegularExpression>
#include <QSvgRenderer>
#include <cstdio>

namespace {

constexpr QRgb kKeyColour = 0xffff00ff;

// Pixels this transparent are background; the rest are laid on white, the colour of the light
// list they are drawn on, so the key colour never bleeds into soft edges.
constexpr int kKeyAlphaThreshold = 48;

// QtSvg skips what it does not understand with no more than a warning; a drawing that loses a
// part that way must fail the build rather than ship half drawn.
bool svgWarned = false;

void noteWarnings(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const bool fromSvg = context.category && qstrncmp(context.category, "qt.svg", 6) == 0;
    if (!fromSvg && type != QtCriticalMsg && type != QtFatalMsg)
        return; // start-up chatter of a GUI application without a session
    if (fromSvg && type != QtDebugMsg && type != QtInfoMsg)
        svgWarned = true;
    std::fprintf(stderr, "render_skin: %s%s\n", context.category ? context.category : "",
        qPrintable(QStringLiteral(": ") + message));
}

struct Entry
{
    QString name;
    QSize size;
};

bool parseEntry(const QString &text, Entry *entry)
{
    static const QRegularExpression pattern(QStringLiteral("^([^:/]+):(\\d+)x(\\d+)$"));
    const QRegularExpressionMatch match = pattern.match(text);
    if (!match.hasMatch())
        return false;
    entry->name = match.captured(1);
    entry->size = QSize(match.captured(2).toInt(), match.captured(3).toInt());
    return !entry->size.isEmpty();
}

QImage render(QSvgRenderer &renderer, const QSize &size)
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    renderer.render(&painter);
    painter.end();
    return image;
}

QImage keyedForBmp(const QImage &rendered)
{
    const QImage source = rendered.convertToFormat(QImage::Format_ARGB32);
    QImage keyed(source.size(), QImage::Format_RGB32);
    for (int y = 0; y < source.height(); ++y) {
        const auto *in = reinterpret_cast<const QRgb *>(source.constScanLine(y));
        auto *out = reinterpret_cast<QRgb *>(keyed.scanLine(y));
        for (int x = 0; x < source.width(); ++x) {
            const QRgb pixel = in[x];
            const int alpha = qAlpha(pixel);
            if (alpha < kKeyAlphaThreshold) {
                out[x] = kKeyColour;
                continue;
            }
            const auto blend = [alpha](int channel) {
                return (channel * alpha + 255 * (255 - alpha)) / 255;
            };
            out[x] = qRgb(blend(qRed(pixel)), blend(qGreen(pixel)), blend(qBlue(pixel)));
        }
    }
    return keyed;
}

bool renderEntry(const QDir &svgDir, const QDir &outDir, const Entry &entry)
{
    const QFileInfo target(entry.name);
    const QString svgPath = svgDir.filePath(target.completeBaseName() + QStringLiteral(".svg"));
    svgWarned = false;
    QSvgRenderer renderer(svgPath);
    if (!renderer.isValid() || svgWarned) {
        std::fprintf(stderr, "render_skin: cannot read %s\n", qPrintable(svgPath));
        return false;
    }

    const QImage image = render(renderer, entry.size);
    if (svgWarned) {
        std::fprintf(stderr, "render_skin: %s does not render cleanly\n", qPrintable(svgPath));
        return false;
    }
    const QString outPath = outDir.filePath(entry.name);
    const bool bmp = target.suffix().compare(QStringLiteral("bmp"), Qt::CaseInsensitive) == 0;
    if (bmp) {
        if (!keyedForBmp(image).save(outPath, "BMP")) {
            std::fprintf(stderr, "render_skin: cannot write %s\n", qPrintable(outPath));
            return false;
        }
        return true;
    }

    const QString hiDpiPath
        = outDir.filePath(target.completeBaseName() + QStringLiteral("@2x.") + target.suffix());
    if (!image.save(outPath, "PNG") || !render(renderer, entry.size * 2).save(hiDpiPath, "PNG")) {
        std::fprintf(stderr, "render_skin: cannot write %s\n", qPrintable(outPath));
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char *argv[])
{
    // Text in the drawings needs fonts, and fonts need a GUI application; the build has no screen.
    qputenv("QT_QPA_PLATFORM", "offscreen");
    qInstallMessageHandler(noteWarnings);
    QGuiApplication app(argc, argv);

    const QStringList args = QCoreApplication::arguments();
    if (args.size() < 4) {
        std::fprintf(stderr, "usage: %s SVG_DIR OUT_DIR NAME:WIDTHxHEIGHT...\n",
            qPrintable(QFileInfo(args.value(0)).fileName()));
        return 2;
    }

    const QDir svgDir(args.at(1));
    QDir outDir(args.at(2));
    if (!outDir.mkpath(QStringLiteral("."))) {
        std::fprintf(stderr, "render_skin: cannot create %s\n", qPrintable(args.at(2)));
        return 1;
    }

    bool ok = true;
    for (qsizetype i = 3; i < args.size(); ++i) {
        Entry entry;
        if (!parseEntry(args.at(i), &entry)) {
            std::fprintf(stderr, "render_skin: bad entry '%s'\n", qPrintable(args.at(i)));
            return 2;
        }
        ok = renderEntry(svgDir, outDir, entry) && ok;
    }
    return ok ? 0 : 1;
}
