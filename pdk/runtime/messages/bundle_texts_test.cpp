// The texts of the bundles, word for word, each argument in its place.
#include <gtest/gtest.h>

#include "cfimessagecatalog.h"

namespace {

struct MessageTexts {
    const char* id;
    int arguments;  // "a0", "a1", …
    const char* english;
    const char* german;
};

const MessageTexts kMessages[] = {
    {"MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION", 4,
     "The command \"a1\" did not succeed: a0. The level 1 lines of the trace log hold its output. [a2:a3]",
     "Der Befehl „a1“ war nicht erfolgreich: a0. Seine Ausgabe steht in den Zeilen der Stufe 1 des Protokolls. "
     "[a2:a3]"},
    {"MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", 4, "The snapshot framework reported an error: a0 [a1, a2:a3]",
     "Das Snapshot-Framework meldet einen Fehler: a0 [a1, a2:a3]"},
    {"MSG_ERROR_UDID_PARSING_EXCEPTION", 2, "The unique id of a disk could not be read: a0 (code a1)",
     "Die eindeutige Kennung einer Platte ist nicht lesbar: a0 (Code a1)"},
    {"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", 4, "The operation ended with an unexpected error: a1 [a0, a2:a3]",
     "Die Operation endete mit einem unerwarteten Fehler: a1 [a0, a2:a3]"},
    {"MSG_ERROR_UNHANDLED_INT_EXCEPTION", 3, "The operation ended with the unexpected error number a0. [a1:a2]",
     "Die Operation endete mit der unerwarteten Fehlernummer a0. [a1:a2]"},
    {"MSG_ERROR_INITIALIZATION_FAILED", 0,
     "The plug-in could not be started. The message reported before this one names the cause.",
     "Das Plug-in konnte nicht gestartet werden. Die unmittelbar davor gemeldete Nachricht nennt die Ursache."},
};

TEST(BundleTexts, MessagesAreTheseInBothLanguages) {
    CFiMessageCatalogManager catalogs;
    catalogs.registerFactory(makeCounted<CFiIcuMessageCatalogFactory>("root", "tarnfi"));
    for (const MessageTexts& texts : kMessages) {
        std::vector<icu::Formattable> arguments;
        for (int i = 0; i < texts.arguments; ++i) {
            arguments.emplace_back(icu::UnicodeString(("a" + std::to_string(i)).c_str()));
        }
        const CFiIcuMessage message(texts.id, arguments.data(), texts.arguments, 3, "file", 1);
        EXPECT_EQ(catalogs.getLocalizedMessage(message, ""), texts.english);
        EXPECT_EQ(catalogs.getLocalizedMessage(message, "de"), texts.german);
    }
}

struct StatusTexts {
    int code;
    const char* english;
    const char* german;
};

const StatusTexts kStatuses[] = {
    {0, "The operation succeeded.", "Die Operation war erfolgreich."},
    {1, "The delayed initialisation of the plug-in failed; the operation was not started.",
     "Die verzögerte Initialisierung des Plug-ins schlug fehl; die Operation wurde nicht begonnen."},
    {2, "The plug-in does not support this operation.", "Das Plug-in unterstützt diese Operation nicht."},
    {3, "An argument is missing or out of range, or the node has no data. (From claim: the object is claimed.)",
     "Ein Argument fehlt oder ist unzulässig, oder der Knoten hat keine Daten. (Von claim: Das Objekt ist "
     "beansprucht.)"},
    {4, "The operation is not available for a single node; use its session form.",
     "Die Operation gibt es nicht für einen einzelnen Knoten; zu verwenden ist ihre Sitzungsform."},
    {5, "There was not enough memory.", "Der Speicher reichte nicht aus."},
    {6, "The operation failed. The last error messages and the trace log name the cause.",
     "Die Operation schlug fehl. Die letzten Fehlermeldungen und das Protokoll nennen die Ursache."},
    {7, "The plug-in was started without a version record.", "Das Plug-in wurde ohne Versionssatz gestartet."},
    {18, "The path of the alternate node cannot be reached.", "Der Pfad des Alternativknotens ist nicht erreichbar."},
    {32, "The device is busy or mounted somewhere else.", "Das Gerät ist belegt oder anderswo eingehängt."},
    {1024, "An object id could not be made.", "Eine Objektkennung konnte nicht erzeugt werden."},
    {1062, "The node has no sub-object.", "Der Knoten hat kein Unterobjekt."},
    {1067, "A mount point could not be removed.", "Ein Einhängepunkt konnte nicht entfernt werden."},
    {1069, "A file system could not be mounted.", "Ein Dateisystem konnte nicht eingehängt werden."},
    {1070, "A file system could not be unmounted.", "Ein Dateisystem konnte nicht ausgehängt werden."},
    {1083, "The mount table could not be read.", "Die Einhängetabelle konnte nicht gelesen werden."},
    {1084, "The mount point or device is not in the mount table.",
     "Der Einhängepunkt oder das Gerät steht nicht in der Einhängetabelle."},
    {1088, "The device is mounted at another mount point.", "Das Gerät ist an einem anderen Einhängepunkt eingehängt."},
    {4711, "Status 4711 is unknown.", "Der Status 4711 ist unbekannt."},
};

TEST(BundleTexts, StatusesAreTheseInBothLanguages) {
    for (const StatusTexts& texts : kStatuses) {
        EXPECT_STREQ(znfi_status_text(texts.code, ""), texts.english);
        EXPECT_STREQ(znfi_status_text(texts.code, "de"), texts.german);
    }
}

}  // namespace
