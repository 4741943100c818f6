#include "events/view_controller.h"

namespace quillfold {

namespace {

// Runs the destructor of the whole object behind the clearing of its
// subscriptions, and returns the memory that it stood in.
void* destroy(UIViewController* screen) {
  screen->qf_dealloc();
  void* memory = dynamic_cast<void*>(screen);
  screen->~UIViewController();
  return memory;
}

}  // namespace

void UIViewController::operator delete(UIViewController* screen, std::destroying_delete_t) {
  ::operator delete(destroy(screen));
}

void UIViewController::operator delete(UIViewController* screen, std::destroying_delete_t,
                                       std::align_val_t alignment) {
  ::operator delete(destroy(screen), alignment);
}

void* UIViewController::operator new(std::size_t size) {
  return ::operator new(size);
}

void* UIViewController::operator new(std::size_t size, std::align_val_t alignment) {
  return ::operator new(size, alignment);
}

void* UIViewController::operator new(std::size_t size, const std::nothrow_t& tag) noexcept {
  return ::operator new(size, tag);
}

void* UIViewController::operator new(std::size_t size, std::align_val_t alignment,
                                     const std::nothrow_t& tag) noexcept {
  return ::operator new(size, alignment, tag);
}

void UIViewController::operator delete(void* memory) {
  ::operator delete(memory);
}

void UIViewController::operator delete(void* memory, std::align_val_t alignment) {
  ::operator delete(memory, alignment);
}

void UIViewController::operator delete(void* memory, const std::nothrow_t& tag) {
  ::operator delete(memory, tag);
}

void UIViewController::operator delete(void* memory, std::align_val_t alignment,
                                       const std::nothrow_t& tag) {
  ::operator delete(memory, alignment, tag);
}

std::shared_ptr<UIAlertController> UIAlertController::alertControllerWithTitle(
    std::string title, std::string message, std::int64_t preferredStyle) {
  std::shared_ptr<UIAlertController> alert(new UIAlertController);
  alert->title_ = std::move(title);
  alert->message_ = std::move(message);
  alert->preferredStyle_ = preferredStyle;
  return alert;
}

}  // namespace quillfold
