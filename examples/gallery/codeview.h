#ifndef CODEVIEW_H
#define CODEVIEW_H

#include <QByteArray>
#include <QWidget>

#include "widgets/qrcode.h"

/** A QR code as large as the widget allows, on a white ground. */
class CodeView : public QWidget
{
    Q_OBJECT

public:
    using QWidget::QWidget;

    void setCode(QByteArray const& data, QRErrorCorrLevel level);

    QByteArray const& data() const { return mData; }

    /** How many modules a side of the code has; 0: there is no code. */
    int modules() const { return mModules; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QByteArray mData;
    QRErrorCorrLevel mLevel = QRErrorCorrLow;
    int mModules = 0;
};

#endif
