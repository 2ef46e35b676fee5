// A picture of what the X server really shows, and the comparison the Xvfb
// test makes with it. Not a widget grab: a window that Qt believes shown but
// that never reached the screen must not pass.
//   xshot grab OUT.png
//   xshot compare SCREEN.png BACKGROUND.png WINDOW.png X Y
// `compare` succeeds when SCREEN shows WINDOW's picture at X,Y and that
// region is no longer what BACKGROUND (the screen before) had there.
#include <QGuiApplication>
#include <QImage>
#include <QPixmap>
#include <QRect>
#include <QScreen>

#include <cstdio>
#include <cstdlib>

namespace {

// Anti-aliasing and colour rounding move a channel by a few steps; another
// widget or the background moves it by far more.
constexpr int ChannelTolerance = 40;
// The text cursor blinks in the focused field, so the screen and the
// window's own picture may disagree there.
constexpr double MaxMismatch = 0.02;
// A window that is really there hides most of what lay under it.
constexpr double MinCovered = 0.5;

bool differs(QRgb a, QRgb b)
{
    return std::abs(qRed(a) - qRed(b)) > ChannelTolerance ||
           std::abs(qGreen(a) - qGreen(b)) > ChannelTolerance ||
           std::abs(qBlue(a) - qBlue(b)) > ChannelTolerance;
}

// The share of the pixels of `region` in `a` that differ from `b` at the
// same offset from `bOrigin`.
double mismatch(const QImage& a, const QRect& region, const QImage& b, QPoint bOrigin)
{
    qint64 different = 0;
    for (int y = 0; y < region.height(); ++y) {
        for (int x = 0; x < region.width(); ++x) {
            const QPoint offset(x, y);
            if (differs(a.pixel(region.topLeft() + offset), b.pixel(bOrigin + offset)))
                ++different;
        }
    }
    return double(different) / double(qint64(region.width()) * region.height());
}

QImage load(const char* path)
{
    QImage image(QString::fromLocal8Bit(path));
    if (image.isNull())
        std::fprintf(stderr, "xshot: cannot read %s\n", path);
    return image.convertToFormat(QImage::Format_RGB32);
}

int grab(int argc, char** argv, const char* out)
{
    // The test environment asks for the offscreen platform, whose screen is
    // not the X server's.
    qputenv("QT_QPA_PLATFORM", "xcb");
    QGuiApplication app(argc, argv);
    QScreen* screen = QGuiApplication::primaryScreen();
    const QPixmap shot = screen ? screen->grabWindow(0) : QPixmap();
    if (shot.isNull() || !shot.save(QString::fromLocal8Bit(out), "PNG")) {
        std::fprintf(stderr, "xshot: no picture of the screen in %s\n", out);
        return 1;
    }
    return 0;
}

int compare(char** argv)
{
    const QImage screen = load(argv[2]);
    const QImage background = load(argv[3]);
    const QImage window = load(argv[4]);
    bool xOk = false;
    bool yOk = false;
    const QRect region(QByteArray(argv[5]).toInt(&xOk), QByteArray(argv[6]).toInt(&yOk),
                       window.width(), window.height());
    if (screen.isNull() || background.isNull() || window.isNull() || !xOk || !yOk)
        return 2;
    if (background.size() != screen.size() || !screen.rect().contains(region)) {
        std::fprintf(stderr, "xshot: %dx%d at %d,%d is not on the %dx%d screen\n", region.width(),
                     region.height(), region.x(), region.y(), screen.width(), screen.height());
        return 1;
    }
    const double unlike = mismatch(screen, region, window, QPoint(0, 0));
    const double covered = mismatch(screen, region, background, region.topLeft());
    std::printf("xshot: %dx%d at %d,%d: %.2f%% unlike the window's picture, %.2f%% unlike the "
                "background\n",
                region.width(), region.height(), region.x(), region.y(), unlike * 100,
                covered * 100);
    return unlike <= MaxMismatch && covered >= MinCovered ? 0 : 1;
}

} // namespace

int main(int argc, char** argv)
{
    const QByteArray mode = argc > 1 ? QByteArray(argv[1]) : QByteArray();
    if (mode == "grab" && argc == 3)
        return grab(argc, argv, argv[2]);
    if (mode == "compare" && argc == 7)
        return compare(argv);
    std::fprintf(stderr, "usage: xshot grab OUT.png\n"
                         "       xshot compare SCREEN.png BACKGROUND.png WINDOW.png X Y\n");
    return 2;
}
