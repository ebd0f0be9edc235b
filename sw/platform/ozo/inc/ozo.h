/* Mailboxes and messages: how processes and threads of a unit talk to each other.
 *
 * A thread creates its mailbox under a name; others find it by that name and send it messages. A
 * message is one block of memory whose first word is its number, in host byte order; the rest is
 * the sender's and receiver's matter.
 *
 *     ozo_create_mailbox("Sender", 0);
 *     ozo_msg *msg = ozo_alloc(sizeof(struct hello), HELLO);
 *     ozo_send(msg, ozo_locate("Receiver"), OZO_MY_MAILBOX);
 *
 * Promises:
 *   - a send never blocks; what the receiver's socket does not take waits in a bounded queue, and
 *     beyond that bound is dropped;
 *   - a message arrives whole or not at all, and messages between two mailboxes arrive in the order
 *     of sending;
 *   - the sender's id that a receiver sees is that of a mailbox of the sending process's own user;
 *   - a mailbox goes with its process, however that ends, and its name can be taken again.
 *
 * What a receiver doesn't take at once leaves when it reads, whenever the sending thread's
 * descriptor is readable and the thread calls ozo_receive; at its next message to the same
 * receiver; and for a moment when its mailbox is deleted. So a thread that sends a lot should
 * receive now and then, even if nothing comes for it: ozo_receive(0) is enough.
 *
 * Threads: a mailbox belongs to the thread that created it; that thread alone receives on it, sends
 * from it and deletes it. When the thread ends, so does its mailbox. A forked child has no part in
 * its parent's mailboxes and can create its own.
 *
 * Paths: everything lies under $UNIT_ROOT/run/ozo (UNIT_ROOT is read at each use; empty by
 * default). A mailbox stays in the unit in which it was created.
 *
 * Users: folders that are made here have the mode 0750 and sockets 0660, whatever the umask; such
 * a unit is one user's. For one that several users share an administrator makes run/ozo, 0750, and
 * mbox, name and id in it, 3770, before the first mailbox: the folders' group may use mailboxes,
 * nobody else gets in. Folders that are there stay as they are. Of the group,
 *   - everybody may create mailboxes, send to all of them, and see their names;
 *   - nobody may remove or replace another's files, take the name of another's mailbox, be it dead
 *     or alive, or speak as another's mailbox;
 *   - anybody may take a name that nobody has. So a service's name is no proof of who it is:
 *     ozo_locate_service gives mailboxes of the owner of run/ozo and of root only. These two get
 *     any name that a guest has.
 *
 * Failures leave their reason in errno. */
#ifndef OZO_H
#define OZO_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The first word of every message; the payload follows it. */
typedef struct ozo_msg {
    uint32_t msgno;
} ozo_msg;

#define OZO_NO_MAILBOX 0xFFFFFFFFu
/* As sender: the calling thread's mailbox. */
#define OZO_MY_MAILBOX 0xFFF00000u

/* Creates the calling thread's mailbox, of which it can have one, and gives its id; OZO_NO_MAILBOX
 * if the thread has one already, a live mailbox has the name (EADDRINUSE), the name is empty, over
 * 255 bytes or has a slash in it (EINVAL), or the directory can't be used. flags is 0. */
uint32_t ozo_create_mailbox(const char* name, uint32_t flags);

/* Gives a mailbox of the calling thread a further name. 0 on success; a name that a live mailbox
 * has is refused. */
int ozo_add_name(uint32_t mailbox, const char* name);

/* Deletes the calling thread's mailbox with its names, connections and waiting messages. 0 on
 * success. Receivers that read get up to 100 ms to take what still waits for them. */
int ozo_delete_mailbox(uint32_t mailbox);

/* A descriptor that is readable while messages wait for the calling thread's mailbox; -1 without
 * one. Poll it, never read it. */
int ozo_get_fd(void);

/* The calling thread's mailbox; OZO_NO_MAILBOX without one. */
uint32_t ozo_get_mailbox(void);

/* A message of size bytes, the first word included, zeroed behind that word. Null if size is under
 * 4 or memory is out. */
ozo_msg* ozo_alloc(size_t size, uint32_t msgno);

/* Frees a message that was received, or allocated and not sent. Null is allowed. */
void ozo_free(ozo_msg* msg);

/* Sends msg and takes it over whatever becomes of it. Drops and counts it when the receiver is
 * gone, its queue is full, or the message is over the maximum size. from is OZO_MY_MAILBOX or the
 * id of the calling thread's mailbox; a thread without a mailbox can't send, its messages are
 * freed. A mailbox may send to itself. */
void ozo_send(ozo_msg* msg, uint32_t to, uint32_t from);

/* Sends msg if nothing has to wait for it: then gives 0 and has taken it over. Otherwise the
 * message stays the caller's, nothing is counted, and errno tells why:
 *   - EAGAIN: the receiver has yet to take what was sent before; ozo_get_fd's descriptor becomes
 *     readable when it may be tried again;
 *   - ECONNREFUSED: the receiver is gone;
 *   - EMSGSIZE: the message is over the maximum size;
 *   - EINVAL: the thread has no mailbox;
 *   - others: the system lacks memory or descriptors now; nothing tells when to try again.
 * So a sender that can hold messages back, and would rather choose itself what is dropped, learns
 * what left. To a receiver that is gone before it reads, what left is lost. */
int ozo_try_send(ozo_msg* msg, uint32_t to);

/* The next message to the calling thread's mailbox, the caller's from then on. Waits for
 * timeout_ms, or for ever if that is -1; null when none came, memory is out, or the thread has no
 * mailbox. */
ozo_msg* ozo_receive(int timeout_ms);

/* The mailbox that a received message came from; OZO_NO_MAILBOX for one that was not received. */
uint32_t ozo_sender(const ozo_msg* msg);

/* The size of a message in bytes, the first word included. */
size_t ozo_size(const ozo_msg* msg);

/* The live mailbox that has the name; OZO_NO_MAILBOX if nobody has it. */
uint32_t ozo_locate(const char* name);

/* As ozo_locate, if the mailbox belongs to the owner of run/ozo or to root, who run the unit's
 * services. For those who hand over what is not for every member of the group, or believe what
 * they are told. */
uint32_t ozo_locate_service(const char* name);

/* Writes the name under which a mailbox was created, NUL-terminated and cut to size. 0 on success.
 */
int ozo_get_name(uint32_t mailbox, char* buffer, size_t size);

/* The largest size of a message in bytes: 65536, or what OZO_MAX_SIZE in the environment says
 * between 1 KiB and 128 KiB. */
size_t ozo_get_max_size(void);

/* Has a message of that number, 8 bytes with the mailbox's id as second word, sent to the calling
 * thread's mailbox when mailbox is gone, at once if it already is. It comes behind all that the
 * mailbox had sent, provided that a message had passed between the two before the call: otherwise
 * each side may have opened a connection, and what came over the other one may follow.
 * Each call gives one message. Its sender is the calling thread's mailbox: no peer can imitate it.
 * 0 on success; one's own mailbox can't be monitored. */
int ozo_monitor(uint32_t mailbox, uint32_t msgno);

/* What the calling thread's mailbox dropped since it was created: messages that it sent, and
 * connections. */
typedef struct ozo_drops {
    uint64_t
        receiver_gone; /* messages: nobody has the receiver's id, or it went before it took them */
    uint64_t queue_full;   /* messages: the receiver doesn't read, or there is no descriptor left to
                              reach it */
    uint64_t too_large;    /* messages: over the maximum size */
    uint64_t wrong_sender; /* messages: sent as from a mailbox that isn't the thread's */
    uint64_t bad_peers;    /* connections: the peer sent what is no frame, or claimed a mailbox that
                              isn't its user's */
    uint64_t crowded_out;  /* connections: their user had opened as many as one may */
} ozo_drops;
ozo_drops ozo_get_drops(void);

#ifdef __cplusplus
}
#endif

#endif
