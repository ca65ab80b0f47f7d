#include "gnome/GnomeScreenshotLocation.h"

#include <libintl.h>
#include <sys/stat.h>
#include <unicode/utf8.h>

#include <QProcess>
#include <cstdlib>

#include "plist/PlistUserDefaults.h"
#include "posix/PosixFileSystem.h"
#include "posix/SafeFile.h"

namespace velko {
namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

void appendUtf8(std::string& out, unsigned long code) {
    char bytes[U8_MAX_LENGTH];
    std::int32_t length = 0;
    U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(code));
    out.append(bytes, static_cast<std::size_t>(length));
}

// A GVariant string literal: 'text' or "text" with backslash escapes.
std::optional<std::string> unquoteGVariantString(std::string_view literal) {
    if (literal.size() < 2 || (literal.front() != '\'' && literal.front() != '"') || literal.back() != literal.front())
        return std::nullopt;
    literal = literal.substr(1, literal.size() - 2);
    std::string out;
    for (std::size_t i = 0; i < literal.size(); ++i) {
        if (literal[i] != '\\') {
            out += literal[i];
            continue;
        }
        if (++i == literal.size()) return std::nullopt;
        const char c = literal[i];
        if (c == 'u' || c == 'U') {
            const std::size_t digits = c == 'u' ? 4 : 8;
            unsigned long code = 0;
            for (std::size_t k = 1; k <= digits; ++k) {
                const int v = i + k < literal.size() ? hexValue(literal[i + k]) : -1;
                if (v < 0) return std::nullopt;
                code = code * 16 + static_cast<unsigned long>(v);
            }
            if (code > 0x10FFFF) return std::nullopt;
            appendUtf8(out, code);
            i += digits;
            continue;
        }
        switch (c) {
            case 'n':
                out += '\n';
                break;
            case 't':
                out += '\t';
                break;
            case 'r':
                out += '\r';
                break;
            case 'f':
                out += '\f';
                break;
            case 'v':
                out += '\v';
                break;
            case 'a':
                out += '\a';
                break;
            case 'b':
                out += '\b';
                break;
            default:
                out += c;
        }
    }
    return out;
}

std::string_view trimmedAscii(std::string_view text) {
    while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
    while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\n' || text.back() == '\r'))
        text.remove_suffix(1);
    return text;
}

}  // namespace

std::optional<std::string> GnomeScreenshotLocation::pathFromGSettingsOutput(std::string_view output) {
    const auto value = unquoteGVariantString(trimmedAscii(output));
    if (!value || value->empty()) return std::nullopt;
    std::string_view uri(*value);
    if (uri.substr(0, 7) != "file://") return *value;
    uri.remove_prefix(7);
    if (uri.substr(0, 9) == "localhost") uri.remove_prefix(9);
    if (uri.empty() || uri.front() != '/') return std::nullopt;  // another host's file
    return percentDecoded(uri);
}

std::optional<std::string> GnomeScreenshotLocation::picturesDirectoryFrom(std::string_view userDirs,
                                                                          const std::string& home) {
    std::optional<std::string> found;
    while (!userDirs.empty()) {
        const auto end = userDirs.find('\n');
        const std::string_view line = trimmedAscii(userDirs.substr(0, end));
        userDirs = end == std::string_view::npos ? std::string_view() : userDirs.substr(end + 1);
        constexpr std::string_view key = "XDG_PICTURES_DIR=";
        if (line.substr(0, key.size()) != key) continue;
        std::string_view quoted = line.substr(key.size());
        if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') continue;
        quoted = quoted.substr(1, quoted.size() - 2);
        std::string value;
        for (std::size_t i = 0; i < quoted.size(); ++i) {
            if (quoted[i] == '\\' && i + 1 < quoted.size()) ++i;
            value += quoted[i];
        }
        if (value.rfind("$HOME", 0) == 0) value = home + value.substr(5);
        found = std::move(value);  // the last assignment wins, as when the shell sources the file
    }
    if (!found || found->empty() || found->front() != '/') return std::nullopt;
    while (found->size() > 1 && found->back() == '/') found->pop_back();
    if (*found == home) return std::nullopt;
    return found;
}

std::optional<std::string> GnomeScreenshotLocation::gsettingsValue() {
    QProcess process;
    process.start(QStringLiteral("gsettings"), {QStringLiteral("get"), QStringLiteral("org.gnome.gnome-screenshot"),
                                                QStringLiteral("auto-save-directory")});
    if (!process.waitForStarted(3000)) return std::nullopt;  // no gsettings: not a GNOME desktop
    if (!process.waitForFinished(3000)) {
        process.kill();
        process.waitForFinished(1000);
        return std::nullopt;
    }
    // A missing schema or key exits non-zero: fall through to the XDG folder.
    if (process.exitStatus() != QProcess::NormalExit || process.exitCode() != 0) return std::nullopt;
    const QByteArray output = process.readAllStandardOutput();
    return pathFromGSettingsOutput(std::string_view(output.constData(), static_cast<std::size_t>(output.size())));
}

std::optional<std::string> GnomeScreenshotLocation::xdgScreenshotsFolder() {
    const std::string home = PosixFileSystem::currentHomeDirectory();
    const std::string config = PlistUserDefaults::configDirectoryFromEnvironment(home);
    const auto text = SafeFile::readRegularFile(config + "/user-dirs.dirs", 64 * 1024);
    if (!text) return std::nullopt;
    const auto pictures =
        picturesDirectoryFrom(std::string_view(reinterpret_cast<const char*>(text->data()), text->size()), home);
    if (!pictures) return std::nullopt;
    // GNOME Shell names the folder in the user's language.
    std::string folder = *pictures + "/" + ::dgettext("gnome-shell", "Screenshots");
    // GNOME Shell makes the folder with a user's first screenshot. Made now, that first one is
    // caught too, rather than the desktop being watched until the helper's next start; the
    // pictures folder itself is never created (mkdir fails without it).
    ::mkdir(folder.c_str(), 0777);
    return folder;
}

std::optional<Bytes> GnomeScreenshotLocation::configuredLocation() {
    auto path = gsettingsValue();
    if (!path) path = xdgScreenshotsFolder();
    if (!path) return std::nullopt;
    return Bytes(path->begin(), path->end());
}

std::optional<std::string> GnomeScreenshotLocation::percentDecoded(std::string_view text) {
    std::string out;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            out += text[i];
            continue;
        }
        if (i + 2 >= text.size()) return std::nullopt;
        const int high = hexValue(text[i + 1]), low = hexValue(text[i + 2]);
        if (high < 0 || low < 0) return std::nullopt;
        out += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return out;
}

}  // namespace velko
