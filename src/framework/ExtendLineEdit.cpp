#include "ExtendLineEdit.h"

namespace {
const char LineEditStyle[] = "QLineEdit { border: 1px solid #9fb3c8; border-radius: 2px;"
                             " padding: 1px 4px; background-color: #ffffff;"
                             " selection-background-color: #3b78b5; }"
                             "QLineEdit:focus { border-color: #3b78b5; }"
                             "QLineEdit:disabled { background-color: #eef1f4; color: #8a9099; }";
} // namespace

ExtendLineEdit::ExtendLineEdit(QWidget* parent) : QLineEdit(parent)
{
    setStyleSheet(QLatin1String(LineEditStyle));
}
