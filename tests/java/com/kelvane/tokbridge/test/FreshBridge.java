package com.kelvane.tokbridge.test;

import java.io.*;
import java.lang.annotation.*;
import java.lang.reflect.*;
import java.nio.file.*;
import java.util.*;
import javax.tools.*;
import org.junit.jupiter.api.*;
import org.junit.jupiter.api.extension.*;
import org.junit.platform.commons.support.*;

/**
 * Gives each test method a bridge of its own, with an empty library table: the library's file is copied, and the test
 * class and the bridge's classes are loaded once more by a class loader that loads the copy.
 */
@Target({ElementType.TYPE, ElementType.METHOD})
@Retention(RetentionPolicy.RUNTIME)
@ExtendWith(FreshBridge.Interceptor.class)
@interface FreshBridge {
    /** Runs the test's fixtures and body in a new class loader. */
    final class Interceptor implements InvocationInterceptor {
        private static final String LIBRARY = "tokbridge.library";

        @Override
        public void interceptTestMethod(Invocation<Void> invocation, ReflectiveInvocationContext<Method> context,
            ExtensionContext extension) throws Throwable {
            invocation.skip();
            runAfresh(context);
        }

        @Override
        public void interceptTestTemplateMethod(Invocation<Void> invocation,
            ReflectiveInvocationContext<Method> context, ExtensionContext extension) throws Throwable {
            invocation.skip();
            runAfresh(context);
        }

        @Override
        public void interceptBeforeEachMethod(Invocation<Void> invocation, ReflectiveInvocationContext<Method> context,
            ExtensionContext extension) {
            invocation.skip();
        }

        @Override
        public void interceptAfterEachMethod(Invocation<Void> invocation, ReflectiveInvocationContext<Method> context,
            ExtensionContext extension) {
            invocation.skip();
        }

        private static void runAfresh(ReflectiveInvocationContext<Method> context) throws Throwable {
            Method method = context.getExecutable();
            Class<?> type = new FreshLoader().loadClass(context.getTargetClass().getName());
            String shared = System.getProperty(LIBRARY);
            Path copy = ScriptedToken.copy(Path.of(shared), Scratch.file("bridge", ".so"));
            System.setProperty(LIBRARY, copy.toString());
            try {
                Constructor<?> constructor = type.getDeclaredConstructor();
                constructor.setAccessible(true);
                Object test = constructor.newInstance();
                invokeAll(test, AnnotationSupport.findAnnotatedMethods(type, BeforeEach.class,
                    HierarchyTraversalMode.TOP_DOWN));
                try {
                    Method fresh = type.getDeclaredMethod(method.getName(), method.getParameterTypes());
                    fresh.setAccessible(true);
                    fresh.invoke(test, context.getArguments().toArray());
                } finally {
                    invokeAll(test, AnnotationSupport.findAnnotatedMethods(type, AfterEach.class,
                        HierarchyTraversalMode.BOTTOM_UP));
                }
            } catch (InvocationTargetException e) {
                throw e.getCause();
            } finally {
                System.setProperty(LIBRARY, shared);
                Files.delete(copy);
            }
        }

        private static void invokeAll(Object test, List<Method> methods) throws ReflectiveOperationException {
            for (Method method : methods) {
                method.setAccessible(true);
                method.invoke(test);
            }
        }
    }

    /** Defines the bridge's and the tests' classes itself; the token stays shared, since its library has one loader. */
    final class FreshLoader extends ClassLoader {
        FreshLoader() {
            super(FreshLoader.class.getClassLoader());
        }

        @Override
        protected Class<?> loadClass(String name, boolean resolve) throws ClassNotFoundException {
            boolean fresh = name.startsWith("com.kelvane.pkcs11.") || name.startsWith("com.kelvane.tokbridge.test.");
            if (!fresh || name.equals(ScriptedToken.class.getName()) || name.startsWith(FreshBridge.class.getName())) {
                return super.loadClass(name, resolve);
            }
            synchronized (getClassLoadingLock(name)) {
                Class<?> known = findLoadedClass(name);
                return known != null ? known : define(name);
            }
        }

        private Class<?> define(String name) throws ClassNotFoundException {
            try (InputStream in = getParent().getResourceAsStream(name.replace('.', '/') + ".class")) {
                byte[] bytes = in.readAllBytes();
                return defineClass(name, bytes, 0, bytes.length, FreshLoader.class.getProtectionDomain());
            } catch (IOException e) {
                throw new ClassNotFoundException(name, e);
            }
        }
    }
}
