#pragma once

#include "media/sortedlist.h"

#include <QAbstractListModel>
#include <qqmlintegration.h>

/// The rows that the list shows. Each change of the rows is published once: a new list as one reset, a change
/// inside rows as one dataChanged. Main thread.
class FileListModel : public QAbstractListModel
{
    Q_OBJECT
    QML_ELEMENT
    QML_UNCREATABLE("There is one, and the application's state owns it")
public:
    enum Role {
        Name = Qt::UserRole,
        KindLabel, ///< "REC", "EVT", "PAK", "MAN" or empty
        Kind, ///< int: the label's FileListItem::KindColor
        DateText, ///< such as "2024/03/09 17:05:59", or "-"
        SizeText, ///< such as "1.50 MB"; empty for an unknown size
        IsRead, ///< already extracted
        IsChecked,
        IsSelected,
        IsUnfinished, ///< a recording that the camera didn't finish
    };

    using QAbstractListModel::QAbstractListModel;

    [[nodiscard]] int rowCount(const QModelIndex &parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex &index, int role) const override;
    [[nodiscard]] QHash<int, QByteArray> roleNames() const override;

    [[nodiscard]] const FileList &items() const { return m_list.items; }
    [[nodiscard]] int rowOf(const QUuid &id) const; ///< -1 if there is none

    void replace(SortedList list);
    void setRead(int row, quint64 size); ///< bytes
    void setChecked(int row, bool isChecked);
    void setAllChecked(bool isChecked);
    void setSelectedRow(int row); ///< and no other

private:
    [[nodiscard]] bool isRow(int row) const { return row >= 0 && row < m_list.items.size(); }
    void publish(int first, int last, Role role);

    SortedList m_list;
};
