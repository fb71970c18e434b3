// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <android/binder_parcel.h>
#include <android/binder_status.h>
#include <stdint.h>

typedef uint32_t transaction_code_t;
typedef uint32_t binder_flags_t;

enum : transaction_code_t {
    FIRST_CALL_TRANSACTION = 0x00000001,
    LAST_CALL_TRANSACTION = 0x00ffffff,
};

/** An object that can be called from any process. Counted; functions that give one count it. */
struct AIBinder;
/** Does not keep the object alive. */
struct AIBinder_Weak;
/** What the objects of one interface have in common. Made once, never destroyed. */
struct AIBinder_Class;

/** Makes an object's user data of what was given to `AIBinder_new()`. */
typedef void* (*AIBinder_Class_onCreate)(void* args);
typedef void (*AIBinder_Class_onDestroy)(void* userData);
/** Serves one call; may run on several threads at once. */
typedef binder_status_t (*AIBinder_Class_onTransact)(AIBinder* binder, transaction_code_t code,
                                                     const AParcel* in, AParcel* out);

AIBinder_Class* AIBinder_Class_define(const char* interfaceDescriptor,
                                      AIBinder_Class_onCreate onCreate,
                                      AIBinder_Class_onDestroy onDestroy,
                                      AIBinder_Class_onTransact onTransact);

AIBinder* AIBinder_new(const AIBinder_Class* clazz, void* args);
void AIBinder_incStrong(AIBinder* binder);
void AIBinder_decStrong(AIBinder* binder);

AIBinder_Weak* AIBinder_Weak_new(AIBinder* binder);
void AIBinder_Weak_delete(AIBinder_Weak* weakBinder);
/** Null when the object is gone. */
AIBinder* AIBinder_Weak_promote(AIBinder_Weak* weakBinder);

/** What is called when processes are gone. One may be linked to any number of objects. */
struct AIBinder_DeathRecipient;

/** Called once for a link whose process is gone: on a thread of the pool, with no lock held. */
typedef void (*AIBinder_DeathRecipient_onBinderDied)(void* cookie);
/** The cookie of a link is used no more. */
typedef void (*AIBinder_DeathRecipient_onBinderUnlinked)(void* cookie);

/** Belongs to the caller. Null without `onBinderDied`. */
AIBinder_DeathRecipient* AIBinder_DeathRecipient_new(
        AIBinder_DeathRecipient_onBinderDied onBinderDied);

/**
 * To be set before linking. Called exactly once for each call of `AIBinder_linkToDeath()` that had
 * an object and a recipient: after the notice, when the object's last reference goes, or before a
 * failed call returns. The place to free the cookie.
 */
void AIBinder_DeathRecipient_setOnUnlinked(AIBinder_DeathRecipient* recipient,
                                           AIBinder_DeathRecipient_onBinderUnlinked onUnlinked);

/** No notice comes any more but one that is under way. Does nothing for null. */
void AIBinder_DeathRecipient_delete(AIBinder_DeathRecipient* recipient);

/**
 * Notifies the recipient when the object's process is gone, as long as somebody holds the object:
 * its last strong reference unlinks in silence. The pool must have threads.
 *
 * @return `STATUS_DEAD_OBJECT` when such a notice has been given already; a call that failed is not
 *         enough, and the notice then follows at once. `STATUS_INVALID_OPERATION` for
 *         an object of this process, `STATUS_UNEXPECTED_NULL` for null.
 */
binder_status_t AIBinder_linkToDeath(AIBinder* binder, AIBinder_DeathRecipient* recipient,
                                     void* cookie);

/** Null unless `AIBinder_new()` made the object in this process. */
void* AIBinder_getUserData(AIBinder* binder);
/** Settles the class of an object from elsewhere. False when its interface is another one. */
bool AIBinder_associateClass(AIBinder* binder, const AIBinder_Class* clazz);

/** Makes the parcel for a call; the object needs a class. */
binder_status_t AIBinder_prepareTransaction(AIBinder* binder, AParcel** in);
/** Calls and waits. Takes `in` over in every case; `out` belongs to the caller. `flags` is 0. */
binder_status_t AIBinder_transact(AIBinder* binder, transaction_code_t code, AParcel** in,
                                  AParcel** out, binder_flags_t flags);
