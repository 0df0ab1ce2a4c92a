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

    QString FilePath() const;
    // lbl_Infos 0 to 26 (13 and 18 are captions of their groups and stay empty).
    QLabel *InfoLabel(int index) const { return infos_.value(index); }

private:
    void fill(const MediaItem &item);
    void showInFileManager();

    QLabel *title_;
    QLineEdit *fileName_;
    QList<QLabel *> titles_;
    QList<QLabel *> infos_;
    QPushButton *close_;
    QPushButton *show_;
};

} // namespace sonivert
