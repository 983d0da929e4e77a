// How the owners of dependency links hear that a linked picture changed: the
// shell's windows and controls that hold links implement LinkListener, and the
// notifier installed here passes the news on to them.
#pragma once

class WindowBase;

class LinkListener {
public:
    virtual ~LinkListener() = default;
    // The picture of `target`, which this owner holds a link to, has new pixels.
    virtual void link_target_changed(WindowBase* target) = 0;
};

// Installs the notifier of the dependency links (once is enough; again is harmless).
void link_notifier_install();
