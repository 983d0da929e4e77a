#include "shell/link_notify.h"

#include "core/window_record.h"

namespace {

void tell_owner(WindowBase* owner, WindowBase* target) {
    if (auto* listener = dynamic_cast<LinkListener*>(owner)) listener->link_target_changed(target);
}

}  // namespace

void link_notifier_install() {
    links_set_notifier(&tell_owner);
}
