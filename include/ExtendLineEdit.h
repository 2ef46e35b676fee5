#pragma once

#include "LinkFrameworkExport.h"

#include <QLineEdit>

// The host's styled single-line edit.
class LINKFRAMEWORK_EXPORT ExtendLineEdit : public QLineEdit
{
    Q_OBJECT
public:
    explicit ExtendLineEdit(QWidget* parent = nullptr);
};
