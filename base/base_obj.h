// BaseObj: base of objects whose construction can fail. The constructor of
// the derived class clears the ok flag when it could not set itself up; the
// object stays usable (empty) and callers test ok().
#pragma once

class BaseObj {
public:
    BaseObj() = default;
    virtual ~BaseObj() = default;
    virtual bool ok() const { return m_ok; }
    virtual void clear() { m_ok = false; }

private:
    bool m_ok = true;
};
