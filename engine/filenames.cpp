#include "filenames.h"

#include <QTextCodec>

namespace filenames {

namespace {

constexpr ushort kEscapeBase = 0xdc00; // U+DC80..U+DCFF stand for bytes 0x80..0xff

bool IsEscape(QChar c)
{
    return c.unicode() >= kEscapeBase + 0x80 && c.unicode() <= kEscapeBase + 0xff;
}

class Utf8KeepingBytes : public QTextCodec
{
public:
    QByteArray name() const override { return "UTF-8 (file names)"; }
    int mibEnum() const override { return 0x7ac0; }

protected:
    QString convertToUnicode(const char* in, int length, ConverterState*) const override
    {
        QString out;
        out.reserve(length);
        const auto* b = reinterpret_cast<const unsigned char*>(in);
        int i = 0;
        while (i < length) {
            const unsigned char c = b[i];
            int extra = 0;
            char32_t code = 0;
            if (c < 0x80) {
                out += QChar(c);
                ++i;
                continue;
            }
            if (c >= 0xc2 && c <= 0xdf) {
                extra = 1;
                code = c & 0x1f;
            } else if (c >= 0xe0 && c <= 0xef) {
                extra = 2;
                code = c & 0x0f;
            } else if (c >= 0xf0 && c <= 0xf4) {
                extra = 3;
                code = c & 0x07;
            }
            bool valid = extra > 0 && i + extra < length;
            for (int k = 1; valid && k <= extra; ++k) {
                if ((b[i + k] & 0xc0) != 0x80)
                    valid = false;
                else
                    code = (code << 6) | (b[i + k] & 0x3f);
            }
            // Overlong forms, surrogates and values beyond U+10FFFF are not UTF-8.
            if (valid && ((extra == 2 && code < 0x800) || (extra == 3 && code < 0x10000) ||
                          (code >= 0xd800 && code <= 0xdfff) || code > 0x10ffff))
                valid = false;
            if (!valid) {
                out += QChar(ushort(kEscapeBase + c));
                ++i;
                continue;
            }
            if (code >= 0x10000) {
                out += QChar(QChar::highSurrogate(code));
                out += QChar(QChar::lowSurrogate(code));
            } else {
                out += QChar(ushort(code));
            }
            i += extra + 1;
        }
        return out;
    }

    QByteArray convertFromUnicode(const QChar* in, int length, ConverterState*) const override
    {
        QByteArray out;
        out.reserve(length);
        for (int i = 0; i < length; ++i) {
            const QChar c = in[i];
            if (c.isHighSurrogate() && i + 1 < length && in[i + 1].isLowSurrogate()) {
                out += QString(in + i, 2).toUtf8();
                ++i;
            } else if (IsEscape(c)) {
                out += char(c.unicode() - kEscapeBase);
            } else if (c.isSurrogate()) {
                out += '?';
            } else {
                out += QString(c).toUtf8();
            }
        }
        return out;
    }
};

} // namespace

void InstallCodec()
{
    // Codecs register themselves on construction and live as long as the program.
    static Utf8KeepingBytes* codec = new Utf8KeepingBytes;
    QTextCodec::setCodecForLocale(codec);
}

QString Display(const QString& name)
{
    QString out;
    for (const QChar c : name) {
        if (IsEscape(c))
            out += QStringLiteral("\\x%1").arg(c.unicode() - kEscapeBase, 2, 16, QLatin1Char('0'));
        else
            out += c;
    }
    return out;
}

} // namespace filenames
