#pragma once
// A page whose Previous returns to the source or the target database page, as the
// page that opened it says.
class BackToVarnelPage
{
public:
    virtual ~BackToVarnelPage() = default;
    virtual void setBackToVarnel(bool backToVarnel) = 0;
};
