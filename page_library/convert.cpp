// SPDX-License-Identifier: Apache-2.0
//
// What changes a page.
#include "call.h"
#include "handles.h"
#include "options.h"

using namespace dibkit::page_library;
namespace host = dibkit::host;

namespace {

// `convert` takes the page and the hook.
template <typename Convert>
dibkit_status Change(dibkit_page* page, dibkit_progress_fn progress, void* user,
                     dibkit_error* error, Convert convert) {
  return Call(error, [&] { convert(Required(page).ToChange(), HookOf(progress, user)); });
}

}  // namespace

extern "C" {

dibkit_status dibkit_page_resample(dibkit_page* page, const dibkit_resample_options* options,
                                   dibkit_progress_fn progress, void* user, dibkit_error* error) {
  return Change(page, progress, user, error,
                [&](host::Page& changed, const host::ProgressHook& hook) {
                  changed.Resample(OptionsOf(options), hook);
                });
}

dibkit_status dibkit_page_prepare(dibkit_page* page, const dibkit_prepare_options* options,
                                  dibkit_progress_fn progress, void* user, dibkit_error* error) {
  return Change(page, progress, user, error,
                [&](host::Page& changed, const host::ProgressHook& hook) {
                  changed.Prepare(OptionsOf(options), hook);
                });
}

dibkit_status dibkit_page_quantize(dibkit_page* page, const dibkit_quantize_options* options,
                                   dibkit_progress_fn progress, void* user, dibkit_error* error) {
  return Change(page, progress, user, error,
                [&](host::Page& changed, const host::ProgressHook& hook) {
                  changed.Quantize(OptionsOf(options), hook);
                });
}

dibkit_status dibkit_page_to_grey(dibkit_page* page, const dibkit_grey_options* options,
                                  dibkit_progress_fn progress, void* user, dibkit_error* error) {
  return Change(page, progress, user, error,
                [&](host::Page& changed, const host::ProgressHook& hook) {
                  changed.ToGrey(OptionsOf(options), hook);
                });
}

dibkit_status dibkit_page_to_24(dibkit_page* page, dibkit_progress_fn progress, void* user,
                                dibkit_error* error) {
  return Change(page, progress, user, error,
                [](host::Page& changed, const host::ProgressHook& hook) { changed.To24(hook); });
}

dibkit_status dibkit_page_to_16(dibkit_page* page, dibkit_progress_fn progress, void* user,
                                dibkit_error* error) {
  return Change(page, progress, user, error,
                [](host::Page& changed, const host::ProgressHook& hook) { changed.To16(hook); });
}

dibkit_status dibkit_page_normalize(dibkit_page* page, dibkit_progress_fn progress, void* user,
                                    dibkit_error* error) {
  return Change(
      page, progress, user, error,
      [](host::Page& changed, const host::ProgressHook& hook) { changed.Normalize(hook); });
}

}  // extern "C"
