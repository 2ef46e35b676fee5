// Message boxes and dialog placement.
#include "CommonUtils.h"

#include "Change.h"
#include "CommonUtilsState.h"

#include <QDialog>
#include <QGuiApplication>
#include <QMutexLocker>
#include <QPointer>
#include <QPushButton>
#include <QScreen>

using CommonUtilsState::shared;

namespace {

const int ReplyByPosition[3] = {CommonUtils::FirstButton, CommonUtils::SecondButton,
                                CommonUtils::ThirdButton};
// The first button accepts; the second is what Escape and the frame's close
// button give; the third is a plain alternative.
const QMessageBox::ButtonRole RoleByPosition[3] = {QMessageBox::AcceptRole, QMessageBox::RejectRole,
                                                   QMessageBox::NoRole};

QString defaultButtonText()
{
    const QString text = Change::tr(QStringLiteral("IDS_OK"), QStringLiteral("XFramePlugin"));
    return text.isEmpty() ? QStringLiteral("OK") : text;
}

// The reply when the box vanished without a button: what Escape would give.
int escapeReply(const MessageRequest& request)
{
    return request.buttons[1].isEmpty() ? CommonUtils::FirstButton : CommonUtils::SecondButton;
}

int runBox(const MessageRequest& request, bool modal, Qt::WindowFlags flags, QDialog** ppDialog,
           const QString& detail, bool centre)
{
    // On the heap behind a guard: whoever holds *ppDialog may delete the box.
    QPointer<QMessageBox> box = new QMessageBox(request.icon, request.title, request.text,
                                                QMessageBox::NoButton, request.parent);
    box->setObjectName(QStringLiteral("CommonUtils_MessageBox"));
    if (flags)
        box->setWindowFlags(flags);
    if (!detail.isEmpty())
        box->setDetailedText(detail);
    if (!modal)
        box->setWindowModality(Qt::NonModal);
    QAbstractButton* buttons[3] = {nullptr, nullptr, nullptr};
    for (int i = 0; i < 3; ++i) {
        if (!request.buttons[i].isEmpty())
            buttons[i] = box->addButton(request.buttons[i], RoleByPosition[i]);
    }
    box->setDefaultButton(qobject_cast<QPushButton*>(buttons[0]));
    if (centre)
        CommonUtils::MoveCentre(box);
    if (ppDialog)
        *ppDialog = box;
    box->exec();
    if (ppDialog)
        *ppDialog = nullptr;
    if (!box)
        return escapeReply(request);
    QAbstractButton* clicked = box->clickedButton();
    delete box.data();
    for (int i = 0; i < 3; ++i) {
        if (clicked && clicked == buttons[i])
            return ReplyByPosition[i];
    }
    return escapeReply(request);
}

} // namespace

int CommonUtils::ShowMessage(QMessageBox::Icon icon, QWidget* parent, const QString& title,
                             const QString& text, const QString& button1, const QString& button2,
                             const QString& button3, bool modal, Qt::WindowFlags flags,
                             QDialog** ppDialog, const QString& detail, bool centre)
{
    MessageRequest request;
    request.icon = icon;
    request.parent = parent;
    request.title = title;
    request.text = text;
    request.buttons[0] = button1;
    request.buttons[1] = button2;
    request.buttons[2] = button3;
    if (button1.isEmpty() && button2.isEmpty() && button3.isEmpty())
        request.buttons[0] = defaultButtonText();

    MessageResponder responder;
    {
        QMutexLocker lock(&shared().mutex);
        responder = shared().responder;
    }
    int reply = 0;
    if (responder) {
        if (ppDialog)
            *ppDialog = nullptr;
        reply = responder(request);
    } else {
        reply = runBox(request, modal, flags, ppDialog, detail, centre);
    }

    MessageObserver observer;
    {
        QMutexLocker lock(&shared().mutex);
        observer = shared().messageObserver;
    }
    if (observer)
        observer(request, reply);
    return reply;
}

void CommonUtils::SetMessageResponder(MessageResponder responder)
{
    QMutexLocker lock(&shared().mutex);
    shared().responder = std::move(responder);
}

void CommonUtils::SetMessageObserver(MessageObserver observer)
{
    QMutexLocker lock(&shared().mutex);
    shared().messageObserver = std::move(observer);
}

void CommonUtils::MoveCentre(QDialog* dialog)
{
    if (!dialog)
        return;
    QRect area;
    QWidget* parent = dialog->parentWidget();
    if (parent && parent->window()->isVisible()) {
        area = parent->window()->frameGeometry();
    } else {
        const QScreen* screen = QGuiApplication::primaryScreen();
        if (!screen)
            return;
        area = screen->availableGeometry();
    }
    // A dialog that was never sized takes its hint when shown.
    const QSize size = dialog->testAttribute(Qt::WA_Resized) || dialog->isVisible()
                           ? dialog->frameGeometry().size()
                           : dialog->sizeHint();
    dialog->move(area.center() - QPoint(size.width() / 2, size.height() / 2));
}
