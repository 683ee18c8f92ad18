#include "filelistmodel.h"

#include <algorithm>

namespace {

QString sizeText(quint64 bytes)
{
    if (bytes == 0)
        return {};
    return QString::asprintf("%.2f MB", static_cast<double>(bytes) / 1000 / 1000);
}

} // namespace

int FileListModel::rowCount(const QModelIndex &parent) const
{
    return parent.isValid() ? 0 : static_cast<int>(m_list.items.size());
}

QVariant FileListModel::data(const QModelIndex &index, int role) const
{
    if (!checkIndex(index, CheckIndexOption::IndexIsValid))
        return {};
    const FileListItem &item = m_list.items.at(index.row());
    switch (role) {
    case Name: return item.name;
    case KindLabel: return item.kindLabel();
    case Kind: return static_cast<int>(item.kindColor());
    case DateText: return m_list.dateTexts.at(index.row());
    case SizeText: return sizeText(item.size);
    case IsRead: return item.read > 0;
    case IsChecked: return item.isChecked;
    case IsSelected: return item.isSelected;
    case IsUnfinished: return item.name.endsWith(u".mov");
    default: return {};
    }
}

QHash<int, QByteArray> FileListModel::roleNames() const
{
    return {{Name, "name"},           {KindLabel, "kindLabel"},   {Kind, "kind"},
            {DateText, "dateText"},   {SizeText, "sizeText"},     {IsRead, "isRead"},
            {IsChecked, "isChecked"}, {IsSelected, "isSelected"}, {IsUnfinished, "isUnfinished"}};
}

int FileListModel::rowOf(const QUuid &id) const
{
    const auto found = std::find_if(items().cbegin(), items().cend(),
                                    [&](const FileListItem &item) { return item.id == id; });
    return found == items().cend() ? -1 : static_cast<int>(found - items().cbegin());
}

void FileListModel::replace(SortedList list)
{
    beginResetModel();
    m_list = std::move(list);
    endResetModel();
}

void FileListModel::setRead(int row, quint64 size)
{
    if (!isRow(row) || items().at(row).read == size)
        return;
    m_list.items[row].read = size;
    publish(row, row, IsRead);
}

void FileListModel::setChecked(int row, bool isChecked)
{
    if (!isRow(row) || items().at(row).isChecked == isChecked)
        return;
    m_list.items[row].isChecked = isChecked;
    publish(row, row, IsChecked);
}

void FileListModel::setAllChecked(bool isChecked)
{
    if (items().isEmpty())
        return;
    for (FileListItem &item : m_list.items)
        item.isChecked = isChecked;
    publish(0, rowCount() - 1, IsChecked);
}

void FileListModel::setSelectedRow(int row)
{
    int first = rowCount();
    int last = -1;
    for (int i = 0; i < rowCount(); ++i) {
        if (items().at(i).isSelected == (i == row))
            continue;
        m_list.items[i].isSelected = i == row;
        first = std::min(first, i);
        last = i;
    }
    if (last >= 0)
        publish(first, last, IsSelected);
}

void FileListModel::publish(int first, int last, Role role)
{
    Q_EMIT dataChanged(index(first), index(last), {role});
}
