#pragma once

#include <QGroupBox>
#include <array>

class QLabel;
class QPushButton;

namespace sonivert {

class FileListModel;

// The "Properties" panel beside the file list: what the input of one row holds, and More for the
// whole of it. The row shown is the window's current item.
class InfoPanel : public QGroupBox
{
    Q_OBJECT
public:
    explicit InfoPanel(QWidget *parent = nullptr);

    void setFileList(FileListModel *list) { m_list = list; }
    QPushButton *moreButton() const { return m_more; }

    int currentRow() const { return m_currentRow; }
    void setCurrentRow(int row) { m_currentRow = row; }

    // Shows a row of the list and makes it the current one; a row outside the list is ignored.
    void showRow(int row);
    void clear();
    // The properties dialog of the current row.
    void showProperties();

private:
    FileListModel *m_list = nullptr;
    int m_currentRow = -1;
    std::array<QLabel *, 9> m_values {};
    QPushButton *m_more = nullptr;
};

} // namespace sonivert
