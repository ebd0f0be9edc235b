// A library that needs what no process has.
extern "C" int functionThatNobodyHas();
extern "C" int callIt();

int callIt() {
    return functionThatNobodyHas();
}
