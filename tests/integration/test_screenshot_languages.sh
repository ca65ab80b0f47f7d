#!/usr/bin/env bash
# Screenshots of real GTK dialogs in German, French and Russian are read with their accents,
# umlauts and Cyrillic when the locale or the keyboard layouts (Plasma's, GNOME's) name those
# languages; a language whose Tesseract package is missing is named with the package to install.
source "$(dirname "$0")/lib.sh"
SHOTS="$HOME/Pictures/Screenshots"
STAGING="$GROUP/pending_screenshots"
mkdir -p "$SHOTS" "$XDG_CONFIG_HOME"
echo 'XDG_PICTURES_DIR="$HOME/Pictures"' >"$XDG_CONFIG_HOME/user-dirs.dirs"

# dialog FILE TEXT: a zenity message as the desktop shows it, its window captured.
dialog() {
  zenity --info --title Hinweis --no-wrap --text "$2" 2>/dev/null &
  local pid=$! window
  wait_for "the dialog" xdotool search --onlyvisible --name Hinweis
  window="$(xdotool search --onlyvisible --name Hinweis | head -1)"
  sleep 1  # drawn once mapped
  import -window "$window" "$WORK/$1"
  kill "$pid"
  wait "$pid" 2>/dev/null || true
}
# reads FILE WORD...: the screenshot dropped into the folder is read with every word right.
reads() {
  local file="Screenshot $1" text missing=() word
  cp "$WORK/$1" "$SHOTS/$file"
  shift
  wait_long "$file to be staged" 60 staged "$file"
  text="$(text_of "$file")"
  for word in "$@"; do grep -qwF -- "$word" <<<"$text" || missing+=("$word"); done
  check_eq "$file is read with its own letters" "" "${missing[*]}${missing[*]:+ missing from: $text}"
}
status_line() { "$VELKO_BIN_DIR/velkoctl" status | grep '^Text recognition: '; }

start_x
dialog de.png "Die Größe der Übersicht hängt von der Auflösung ab.
Bitte schließen Sie alle Fenster, bevor Sie fortfahren.
Straße, Fußgänger, Äpfel und Öl müssen übernommen werden."
dialog fr.png "Le fichier a été enregistré à côté du précédent.
Voulez-vous réessayer plus tard ? Ça dépend du cœur de la tâche.
Cette opération élève la sécurité des données reçues."
dialog ru.png "Файл сохранён в папке «Документы».
Пожалуйста, закройте все окна перед продолжением.
Съешь же ещё этих мягких французских булок."
start_bus
version="$(pkg-config --modversion tesseract)"

# --- the locale: German, with French from LANGUAGE
LANG=de_DE.UTF-8 LANGUAGE=de:fr launch_helper
check_eq "status names the languages" "Text recognition: Tesseract $version (German, French, English)" \
  "$(status_line)"
reads de.png Größe Übersicht hängt Auflösung schließen Straße Fußgänger Öl müssen übernommen
reads fr.png été enregistré à côté précédent Ça cœur tâche élève sécurité données reçues
stop_helper

# --- Plasma's keyboard layouts: Russian; the Polish locale has no Tesseract data here
printf '[Layout]\nLayoutList=us,ru\nUse=true\n' >"$XDG_CONFIG_HOME/kxkbrc"
mkdir -p "$HOME/Pictures"
XDG_CURRENT_DESKTOP=KDE LANG=pl_PL.UTF-8 launch_helper
check_eq "status names English and Russian" "Text recognition: Tesseract $version (English, Russian)" \
  "$(status_line)"
check_eq "the missing package is named once" 1 \
  "$(grep -cF 'Not read in Polish (tesseract-ocr-pol): install the package' "$HELPER_LOG")"
SHOTS="$(sed -n 's/.*watching \(.*\) for screenshots.*/\1/p' "$HELPER_LOG" | head -1)"
reads ru.png сохранён папке Документы Пожалуйста закройте окна продолжением ещё мягких французских булок
stop_helper

# --- GNOME's input sources, read with the real gsettings: Ukrainian, whose package is missing
export GSETTINGS_BACKEND=keyfile
gsettings set org.gnome.desktop.input-sources sources "[('xkb', 'us'), ('xkb', 'ua')]"
XDG_CURRENT_DESKTOP=GNOME LANG=C.UTF-8 launch_helper
check_eq "status names English alone" "Text recognition: Tesseract $version (English)" "$(status_line)"
check "the note names Ukrainian's package" grep -qF 'Not read in Ukrainian (tesseract-ocr-ukr)' "$HELPER_LOG"
finish
