/* The lock protocol of power operations: two controllers of SENSORS sensors each, two clients each, and a waiter.
 * Clients make any number of requests of their own choice, each for one sensor; a record or a sensor may fail. The
 * waiter waits any number of times.
 *
 * Held to:  no deadlock (every process may end, but for a waiter whose lock was never released since it began);
 *           at most one power operation in a controller (assertion in `enter`);
 *           no sensor powered without a record (assertion in `leave`);
 *           a waiter returns once a release has happened (the ltl formula, under weak fairness).
 *
 * The exploration of the real code (tests/simulation) runs what this only models, but with few requests and few
 * preemptions. What it cannot show is proved here: that these hold in runs of any length, however often and wherever
 * threads lose their turn, and that a waiter is not passed over for ever by requests that never cease.
 *
 * Each MISTAKE_* breaks one of them on purpose and must be caught.
 */
#ifndef SENSORS
#define SENSORS 1
#endif
#define NOBODY 255

mtype = {Off, Ongoing, On};

bool opLock[2];
bool stateLock[2];
byte holder = NOBODY;  /* the controller whose power-on has taken gSensorPowerOnLock */
bool counted;          /* a release since the waiter began: each counts after it has emptied the holder */

/* By controller * SENSORS + sensor. */
mtype state[2 * SENSORS] = Off;
bool record[2 * SENSORS];
bool powered[2 * SENSORS];

byte operations[2];  /* power operations under way in a controller */
bool waiting;

/* What a thread does while it holds a lock and waits for nothing is one step: nobody sees its middle. The power-on lock
 * is no such lock: each of its atomic operations is a step. */
inline tryAcquire(c) {
    atomic {
        if
        :: holder == NOBODY -> holder = c
        :: else
        fi
    }
}

inline release() {
    atomic {
        emptied = (holder != NOBODY);
        holder = NOBODY
    }
    if
    :: emptied -> counted = true
    :: else
    fi
}

inline enter(c) {
    atomic {
#ifndef MISTAKE_NO_OPERATION_LOCK
        !opLock[c] -> opLock[c] = true;
#endif
        operations[c]++;
        assert(operations[c] == 1)
    }
}

inline leave(c) {
    atomic {
        assert(!powered[c * SENSORS] || record[c * SENSORS]);
        assert(!powered[c * SENSORS + SENSORS - 1] || record[c * SENSORS + SENSORS - 1]);
        operations[c]--;
        opLock[c] = false
    }
}

inline powerOn(c, s) {
    tryAcquire(c);
    enter(c);
    atomic {
        !stateLock[c] -> stateLock[c] = true;
        admitted = (state[s] == Off);
        if
        :: admitted -> state[s] = Ongoing
        :: else
        fi
    }
    atomic {
        stateLock[c] = false;
        if
        :: admitted ->
            if
            :: record[s] = true;  /* and then a worker, which may fail */
                if
                :: powered[s] = true
                :: skip
                fi
            :: skip  /* no record can be made */
            fi
        :: else
        fi
    }
    if
    :: admitted ->
        atomic { !stateLock[c] -> stateLock[c] = true; state[s] = On }
        stateLock[c] = false
    :: else
    fi;
    leave(c)
}

inline powerOff(c, s) {
    enter(c);
    atomic {
        if
#ifdef MISTAKE_RECORD_DROPPED_FIRST
        :: record[s] -> record[s] = false  /* its task then finds no sensor to power off */
#else
        :: record[s] -> powered[s] = false; record[s] = false
#endif
        :: else
        fi
    }
    if
    :: !record[c * SENSORS] && !record[c * SENSORS + SENSORS - 1] -> release()
    :: else
    fi;
#ifdef MISTAKE_LOCK_ORDER
    atomic { operations[c]--; opLock[c] = false }
    atomic { !stateLock[c] -> stateLock[c] = true }
    atomic { !opLock[c] -> opLock[c] = true; operations[c]++ }
#else
    atomic { !stateLock[c] -> stateLock[c] = true }
#endif
    atomic { state[s] = Off; stateLock[c] = false }
    leave(c)
}

inline getStatus(c) {
    atomic { !stateLock[c] -> stateLock[c] = true }
    stateLock[c] = false
}

proctype Client(byte c) {
    byte s;
    bool admitted;
    bool emptied;
    do
    :: atomic {
            admitted = false;
            emptied = false;
            if
            :: s = c * SENSORS
            :: s = c * SENSORS + SENSORS - 1
            fi
        }
        if
        :: powerOn(c, s)
        :: powerOff(c, s)
        :: getStatus(c)
        fi
    :: break
    od
}

proctype Waiter() {
    do
    :: break
    :: atomic { waiting = true; counted = false }
        if
        :: holder == NOBODY
        :: else ->
#ifdef MISTAKE_WAITS_FOR_A_FREE_LOCK
            holder == NOBODY
#else
end_of_an_unreleased_lock:
            counted
#endif
        fi;
        waiting = false
    od
}

init {
    atomic {
        run Client(0);
        run Client(0);
        run Client(1);
        run Client(1);
        run Waiter()
    }
}

ltl aWaiterReturnsOnceALockWasReleased { [] ((waiting && counted) -> <> !waiting) }
