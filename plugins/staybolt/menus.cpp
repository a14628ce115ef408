#include "plugins/staybolt/menus.h"

#include <QByteArray>
#include <QObject>

#include <cstdlib>

namespace {

template<typename T>
T *allocate(int count = 1)
{
    // NOLINTNEXTLINE(bugprone-sizeof-expression): T is a pointer where an array of them is made
    return static_cast<T *>(malloc(static_cast<size_t>(count) * sizeof(T)));
}

void copyText(char (&field)[PLUGIN_TEXT_BYTES], const QString &text)
{
    qstrncpy(field, text.toUtf8().constData(), PLUGIN_TEXT_BYTES);
}

}

PluginMenuItem *createMenuItem(PluginMenuType type, int id, const QString &text)
{
    auto *item = allocate<PluginMenuItem>();
    item->type = type;
    item->id = id;
    copyText(item->text, text);
    copyText(item->icon, QString());
    return item;
}

PluginMenuItem **createMenus(const QList<Record> &entries)
{
    const QHash<QString, PluginMenuType> types{
        {QStringLiteral("global"), PLUGIN_MENU_TYPE_GLOBAL},
        {QStringLiteral("channel"), PLUGIN_MENU_TYPE_CHANNEL},
        {QStringLiteral("client"), PLUGIN_MENU_TYPE_CLIENT},
    };
    const int sz = entries.size() + 2;
    auto **items = allocate<PluginMenuItem *>(sz);
    int n = 0;
    items[n++] = createMenuItem(PLUGIN_MENU_TYPE_GLOBAL, 0, QObject::tr("open Configuration"));
    for (const Record &entry : entries) {
        const auto type = types.find(entry.value(QStringLiteral("type")).toString());
        if (type == types.end())
            continue;
        // Equal entries share the id of the first, and so its command.
        items[n++] = createMenuItem(*type, entries.indexOf(entry) + 1,
                                    entry.value(recordKeys::name()).toString());
    }
    items[n++] = nullptr;
    Q_ASSERT(n == sz);
    return items;
}

PluginHotkey **createHotkeys(const QList<Record> &entries)
{
    const int sz = entries.size() + 1;
    auto **hotkeys = allocate<PluginHotkey *>(sz);
    int n = 0;
    for (const Record &entry : entries) {
        auto *hotkey = allocate<PluginHotkey>();
        copyText(hotkey->keyword, entry.value(QStringLiteral("keyword")).toString());
        copyText(hotkey->description, entry.value(recordKeys::name()).toString());
        hotkeys[n++] = hotkey;
    }
    hotkeys[n++] = nullptr;
    Q_ASSERT(n == sz);
    return hotkeys;
}

QVariant menuCommand(const QList<Record> &entries, int itemId)
{
    if (itemId < 1)
        return QVariant();
    return entries.value(itemId - 1).value(QStringLiteral("cmd"));
}
