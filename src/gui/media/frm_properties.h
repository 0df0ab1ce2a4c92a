#pragma once

#include "core/media/media_item.h"

#include <QDialog>
#include <QList>

class QLabel;
class QLineEdit;
class QPushButton;

namespace sonivert {

// The properties of one media item: the file's own facts (type, size, dates, attributes), the
// probed video and audio facts and the tags. Read-only; it fills itself when it is created.
class frmProperties : public QDialog
{
    Q_OBJECT

public:
    frmProperties(const MediaItem &item, QWidget *parent = nullptr);

    QString filePath() const;
    // lbl_Infos 0 to 26 (13 and 18 are captions of their groups and stay empty).
    QLabel *infoLabel(int index) const { return m_infos.value(index); }

private:
    void fill(const MediaItem &item);
    void showInFileManager();

    QLabel *m_title;
    QLineEdit *m_fileName;
    QList<QLabel *> m_titles;
    QList<QLabel *> m_infos;
    QPushButton *m_close;
    QPushButton *m_show;
};

} // namespace sonivert
