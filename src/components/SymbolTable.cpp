#include "SymbolTable.h"

// SF Symbol names used by the screens, mapped to Material Icons code points.
const QHash<QString, char16_t> &symbolTable()
{
    static const QHash<QString, char16_t> table = {
        {QStringLiteral("app.dashed"), 0xe22a},                    // border_clear
        {QStringLiteral("app.fill"), 0xe5c3},                      // apps
        {QStringLiteral("archivebox.fill"), 0xe149},               // archive
        {QStringLiteral("arrow.clockwise"), 0xe5d5},               // refresh
        {QStringLiteral("arrow.right"), 0xe5c8},                   // arrow_forward
        {QStringLiteral("arrow.right.circle.fill"), 0xeaaa},       // arrow_circle_right
        {QStringLiteral("arrow.uturn.backward"), 0xe166},          // undo
        {QStringLiteral("bolt.fill"), 0xea0b},                     // bolt
        {QStringLiteral("bolt.shield.fill"), 0xe932},              // offline_bolt
        {QStringLiteral("checkmark"), 0xe5ca},                     // check
        {QStringLiteral("checkmark.circle.fill"), 0xe86c},         // check_circle
        {QStringLiteral("checkmark.seal.fill"), 0xef76},           // verified
        {QStringLiteral("checkmark.shield.fill"), 0xe8e8},         // verified_user
        {QStringLiteral("chevron.left"), 0xe5cb},                  // chevron_left
        {QStringLiteral("chevron.right"), 0xe5cc},                 // chevron_right
        {QStringLiteral("clock.arrow.circlepath"), 0xe889},        // history
        {QStringLiteral("clock.fill"), 0xe924},                    // watch_later
        {QStringLiteral("doc"), 0xe873},                           // description
        {QStringLiteral("doc.fill"), 0xe24d},                      // insert_drive_file
        {QStringLiteral("doc.on.doc.fill"), 0xe173},               // file_copy
        {QStringLiteral("exclamationmark.octagon.fill"), 0xe160},  // report
        {QStringLiteral("exclamationmark.triangle.fill"), 0xe002}, // warning
        {QStringLiteral("externaldrive.badge.checkmark"), 0xe90a}, // offline_pin
        {QStringLiteral("externaldrive.fill"), 0xe1db},            // storage
        {QStringLiteral("folder"), 0xe2c8},                        // folder_open
        {QStringLiteral("folder.badge.plus"), 0xe2cc},             // create_new_folder
        {QStringLiteral("folder.badge.questionmark"), 0xf1c9},     // rule_folder
        {QStringLiteral("folder.fill"), 0xe2c7},                   // folder
        {QStringLiteral("gearshape.fill"), 0xe8b8},                // settings
        {QStringLiteral("house.fill"), 0xe88a},                    // home
        {QStringLiteral("info.circle"), 0xe88f},                   // info_outline
        {QStringLiteral("internaldrive.fill"), 0xe875},            // dns
        {QStringLiteral("lock.fill"), 0xe897},                     // lock
        {QStringLiteral("lock.shield.fill"), 0xe63f},              // enhanced_encryption
        {QStringLiteral("magnifyingglass"), 0xe8b6},               // search
        {QStringLiteral("magnifyingglass.circle.fill"), 0xf02f},   // manage_search
        {QStringLiteral("questionmark.diamond.fill"), 0xe887},     // help
        {QStringLiteral("questionmark.square.dashed"), 0xf1c0},    // help_center
        {QStringLiteral("shield.checkered"), 0xea17},              // policy
        {QStringLiteral("shield.fill"), 0xe9e0},                   // shield
        {QStringLiteral("shield.lefthalf.filled"), 0xe32a},        // security
        {QStringLiteral("shippingbox"), 0xe1a1},                   // inventory_2
        {QStringLiteral("shippingbox.fill"), 0xe1a1},              // inventory_2
        {QStringLiteral("sparkles"), 0xe65f},                      // auto_awesome
        {QStringLiteral("speedometer"), 0xe9e4},                   // speed
        {QStringLiteral("square.grid.2x2"), 0xe39d},               // view_quilt
        {QStringLiteral("square.on.square"), 0xe3e0},              // filter_none
        {QStringLiteral("square.stack.3d.up.fill"), 0xe53b},       // layers
        {QStringLiteral("stop.circle"), 0xe047},                   // stop
        {QStringLiteral("trash"), 0xe92e},                         // delete_outline
        {QStringLiteral("trash.fill"), 0xe872},                    // delete
        {QStringLiteral("wand.and.stars"), 0xe663},                // auto_fix_high
        {QStringLiteral("waveform.path.ecg"), 0xeaa2},             // monitor_heart
        {QStringLiteral("xmark"), 0xe5cd},                         // close
        {QStringLiteral("xmark.circle.fill"), 0xe5c9},             // cancel
    };
    return table;
}
